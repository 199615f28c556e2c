#!/usr/bin/env python3
"""Makes assets/cine-us.dcm: a beating heart as an ultrasound sector would show it, drawn from formulas.

    tools/samples/make_clip.py [OUTPUT]

The tissue is a function of place and time in the sector's own coordinates (angle, depth): a noise field that moves
with the wall gives the speckle, an ellipse that shrinks and grows gives the chamber, and in the chamber blood flows
in towards the probe (red) and out away from it (blue). The result is the same on every run: the only random numbers come from
a generator of this file's own.
"""
import math
import struct
import sys
from pathlib import Path

WIDTH, HEIGHT, FRAMES = 240, 176, 24
FRAME_TIME_MS = 40
APEX_X, APEX_Y = WIDTH / 2, 8.0          # where the beams meet, pixels
NEAR, FAR = 6.0, 160.0                   # pixels from the apex
HALF_ANGLE = math.radians(42)
GRID_ANGLES, GRID_DEPTHS = 256, 512      # cells of the noise field


class Noise:
    """xorshift32, so that the clip does not depend on a library's generator."""

    def __init__(self, seed):
        self.state = seed

    def next(self):
        x = self.state
        x ^= x << 13 & 0xFFFFFFFF
        x ^= x >> 17
        x ^= x << 5 & 0xFFFFFFFF
        self.state = x
        return x / 4294967296.0


def speckle_field(seed):
    """Rayleigh noise, smeared along the arc as the beam width does; GRID_DEPTHS rows of GRID_ANGLES cells."""
    noise = Noise(seed)
    rows = [[math.sqrt(-2 * math.log(1 - noise.next() * 0.9999)) for _ in range(GRID_ANGLES)]
            for _ in range(GRID_DEPTHS)]
    return [[(row[a - 1] + 2 * row[a] + row[(a + 1) % GRID_ANGLES]) / 4 for a in range(GRID_ANGLES)] for row in rows]


def sample(field, angle, depth):
    """The field at fractional cell coordinates, joined at its edges."""
    a, d = math.floor(angle), math.floor(depth)
    fa, fd = angle - a, depth - d
    upper, lower = field[d % GRID_DEPTHS], field[(d + 1) % GRID_DEPTHS]
    a0, a1 = a % GRID_ANGLES, (a + 1) % GRID_ANGLES
    return (upper[a0] * (1 - fa) + upper[a1] * fa) * (1 - fd) + (lower[a0] * (1 - fa) + lower[a1] * fa) * fd


def smooth(low, high, value):
    t = min(max((value - low) / (high - low), 0.0), 1.0)
    return t * t * (3 - 2 * t)


def beat(frame):
    """Contraction, 0 relaxed to 1: a quick squeeze in the first third of the beat, then a slow filling."""
    phase = frame / FRAMES
    return smooth(0.0, 0.28, phase) * (1 - smooth(0.34, 0.85, phase))


def heart_pixel(x, y, contraction, flow):
    """Echo strength 0..1 and blood velocity -1..1 at a place of the sector; pixels, contraction 0..1."""
    size = 1 - 0.24 * contraction
    cx, cy = x + 6, y - 92
    tilt = math.radians(14)
    u = (cx * math.cos(tilt) + cy * math.sin(tilt)) / (30 * size)
    v = (-cx * math.sin(tilt) + cy * math.cos(tilt)) / (50 * (1 - 0.14 * contraction))
    radius = math.hypot(u, v)
    thickness = 0.42 + 0.2 * contraction
    wall = smooth(0.96, 1.06, radius) * (1 - smooth(1 + thickness, 1.1 + thickness, radius))
    lining = math.exp(-((radius - 1.03) / 0.06) ** 2)
    sac = math.exp(-((radius - 1.12 - thickness) / 0.05) ** 2)
    outside = smooth(1.1 + thickness, 1.25 + thickness, radius)
    echo = 0.05 + 0.5 * wall + 0.38 * lining + 0.4 * sac + 0.3 * outside

    # Two leaflets at the valve plane, open while the chamber fills.
    opening = 0.55 * max(-flow, 0.0)
    for side in (-1, 1):
        along = (u * side - 0.12) / 0.78
        if 0.0 < along < 1.0:
            echo += 0.75 * math.exp(-((v - 0.62 + opening * (1 - along) * 0.7) / 0.035) ** 2)

    velocity = 0.0
    if radius < 1.0:
        jet = math.exp(-((u + 0.12 * flow) / 0.42) ** 2)
        velocity = -flow * jet * (1 - radius ** 4)  # filling runs towards the probe at the apex
    return min(echo, 1.0), velocity


def flow_colour(velocity):
    """Red to yellow towards the probe, blue to cyan away from it."""
    strength = min(abs(velocity) * 1.25, 1.0)
    rising = smooth(0.45, 1.0, strength)
    if velocity > 0:
        return 90 + 165 * strength, 190 * rising, 10 * rising
    return 10 * rising, 40 * strength + 170 * rising, 100 + 155 * strength


def sector_geometry():
    """For every pixel inside the sector: index, x from the centre line, depth, angle."""
    inside = []
    for y in range(HEIGHT):
        for x in range(WIDTH):
            dx, dy = x + 0.5 - APEX_X, y + 0.5 - APEX_Y
            depth, angle = math.hypot(dx, dy), math.atan2(dx, dy)
            if NEAR <= depth <= FAR and abs(angle) <= HALF_ANGLE:
                inside.append((y * WIDTH + x, dx, dy, depth, angle))
    return inside


def draw_frame(frame, geometry, still, moving):
    rgb = bytearray(WIDTH * HEIGHT * 3)
    contraction = beat(frame)
    flow = math.sin(2 * math.pi * (frame / FRAMES + 0.02)) * (0.95 if frame < FRAMES / 2 else 0.8)
    for index, dx, dy, depth, angle in geometry:
        echo, velocity = heart_pixel(dx, dy, contraction, flow)
        cell = (angle / HALF_ANGLE + 1) * 70
        # Speckle is carried along by the wall: it comes closer to the middle when the heart contracts.
        drift = 10 * contraction * math.exp(-((depth - 92) / 60) ** 2)
        grain = 0.7 * sample(moving, cell, depth * 1.3 + drift) + 0.3 * sample(still, cell * 1.9, depth * 0.8 + frame * 0.07)
        attenuation = 1.05 - 0.35 * depth / FAR
        edge = smooth(HALF_ANGLE, HALF_ANGLE - 0.05, abs(angle)) * smooth(FAR, FAR - 4, depth)
        level = 255 * attenuation * edge * (echo * grain * 0.72) ** 0.8
        probe = 150 * math.exp(-((depth - NEAR) / 4) ** 2)
        grey = max(0, min(255, int(level + probe * edge)))
        at = index * 3
        if abs(velocity) > 0.14 and grey < 110:
            jitter = 0.85 + 0.2 * sample(moving, cell * 1.7, depth * 1.1 + frame * 3)
            red, green, blue = flow_colour(max(-1.0, min(1.0, velocity * jitter)))
            rgb[at:at + 3] = bytes(min(255, int(c)) for c in (red, green, blue))
        else:
            rgb[at:at + 3] = bytes((grey, grey, min(255, grey + grey // 24)))
    draw_scale(rgb)
    draw_trace(rgb, frame)
    return bytes(rgb)


def put(rgb, x, y, colour):
    if 0 <= x < WIDTH and 0 <= y < HEIGHT:
        at = (y * WIDTH + x) * 3
        rgb[at:at + 3] = bytes(colour)


def draw_scale(rgb):
    """A depth scale at the right and the colour bar of the flow at the left."""
    for tick in range(0, 9):
        y = int(APEX_Y + NEAR + tick * 18)
        for x in range(WIDTH - (9 if tick % 4 == 0 else 6), WIDTH - 3):
            put(rgb, x, y, (120, 130, 140))
    for y in range(12, 68):
        colour = [min(255, int(c)) for c in flow_colour((40 - y) / 28 * 0.8 or 0.001)]
        for x in range(6, 12):
            put(rgb, x, y, colour)


def heart_trace(phase):
    """Electrocardiogram, -1..1, of one beat: P wave, QRS complex, T wave."""
    phase %= 1.0
    waves = ((0.82, 0.03, 0.16), (0.955, 0.010, -0.18), (0.985, 0.012, 1.0), (0.015, 0.012, -0.32), (0.28, 0.05, 0.26))
    return sum(height * math.exp(-((phase - centre) / width) ** 2) for centre, width, height in waves)


def draw_trace(rgb, frame):
    """The trace runs over the lower edge; the beat now shown is the bright one."""
    base, span = HEIGHT - 8, 14
    now = frame / FRAMES
    previous = None
    for x in range(WIDTH):
        phase = 2 * x / WIDTH
        y = base - round(span * heart_trace(phase))
        bright = abs(phase - (1 + now)) < 0.012
        colour = (120, 255, 140) if bright else (30, 110, 60)
        for step in range(min(y, previous or y), max(y, previous or y) + 1):
            put(rgb, x, step, colour)
        previous = y
        if bright:
            for dy in range(-1, 2):
                put(rgb, x, y + dy, (190, 255, 200))


def element(tag, vr, value):
    """One element in explicit VR little endian; text is padded to even length as its VR asks."""
    if isinstance(value, str):
        value = value.encode("ascii")
    if len(value) % 2:
        value += b"\0" if vr in ("UI", "OB") else b" "
    head = struct.pack("<HH", tag >> 16, tag & 0xFFFF) + vr.encode("ascii")
    if vr in ("OB", "OW", "SQ", "UN", "UT"):
        return head + struct.pack("<HI", 0, len(value)) + value
    return head + struct.pack("<H", len(value)) + value


def word(value):
    return struct.pack("<H", value)


def dicom_file(frames):
    def uid(number):  # UUID-derived (PS3.5 B.2)
        return f"2.25.{221830491750376249501837420719463000 + number}"

    ultrasound_multi_frame = "1.2.840.10008.5.1.4.1.1.3.1"
    meta = b"".join([
        element(0x00020001, "OB", b"\0\1"),
        element(0x00020002, "UI", ultrasound_multi_frame),
        element(0x00020003, "UI", uid(3)),
        element(0x00020010, "UI", "1.2.840.10008.1.2.1"),
        element(0x00020012, "UI", uid(9)),
    ])
    body = b"".join([
        element(0x00080008, "CS", "DERIVED\\PRIMARY"),
        element(0x00080016, "UI", ultrasound_multi_frame),
        element(0x00080018, "UI", uid(3)),
        element(0x00080020, "DA", "20260101"),
        element(0x00080023, "DA", "20260101"),
        element(0x00080030, "TM", "120000"),
        element(0x00080033, "TM", "120000"),
        element(0x00080050, "SH", ""),
        element(0x00080060, "CS", "US"),
        element(0x00080070, "LO", "Talv Systems"),
        element(0x00080090, "PN", ""),
        element(0x0008103E, "LO", "Generated beating heart"),
        element(0x00100010, "PN", "Generated^Clip"),
        element(0x00100020, "LO", "GENERATED"),
        element(0x00100030, "DA", ""),
        element(0x00100040, "CS", ""),
        element(0x00181063, "DS", str(FRAME_TIME_MS)),
        element(0x0020000D, "UI", uid(1)),
        element(0x0020000E, "UI", uid(2)),
        element(0x00200010, "SH", ""),
        element(0x00200011, "IS", "1"),
        element(0x00200013, "IS", "1"),
        element(0x00200020, "CS", ""),
        element(0x00280002, "US", word(3)),
        element(0x00280004, "CS", "RGB"),
        element(0x00280006, "US", word(0)),
        element(0x00280008, "IS", str(len(frames))),
        element(0x00280009, "AT", struct.pack("<HH", 0x0018, 0x1063)),
        element(0x00280010, "US", word(HEIGHT)),
        element(0x00280011, "US", word(WIDTH)),
        element(0x00280100, "US", word(8)),
        element(0x00280101, "US", word(8)),
        element(0x00280102, "US", word(7)),
        element(0x00280103, "US", word(0)),
        element(0x00282110, "CS", "00"),
        element(0x7FE00010, "OB", b"".join(frames)),
    ])
    group_length = element(0x00020000, "UL", struct.pack("<I", len(meta)))
    return b"\0" * 128 + b"DICM" + group_length + meta + body


def main():
    default = Path(__file__).resolve().parents[2] / "assets" / "cine-us.dcm"
    output = Path(sys.argv[1]) if len(sys.argv) > 1 else default
    geometry = sector_geometry()
    still, moving = speckle_field(0x51C2A7E1), speckle_field(0x0BADBEA7)
    frames = []
    for number in range(FRAMES):
        frames.append(draw_frame(number, geometry, still, moving))
        if sys.stderr.isatty():
            print(f"\rframe {number + 1} of {FRAMES}", end="", file=sys.stderr)
    output.parent.mkdir(parents=True, exist_ok=True)
    output.write_bytes(dicom_file(frames))


if __name__ == "__main__":
    main()

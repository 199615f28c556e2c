// Streams of an independent encoder over its options, and the conformance streams at hand, decoded here and
// by the independent decoder: lossless ones agree exactly, others within rounding; neither the number of
// threads nor the SIMD level changes a byte. Skipped where the packaged library is not installed.

#include <gtest/gtest.h>

#ifdef TALV_OPENJPEG

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <random>

#include "codecs/j2k/j2k_codestream.h"
#include "tests/codecs/j2k_test_streams.h"
#include "tests/support/openjpeg_peer.h"

namespace talv::j2k_test {
namespace {
/// Waves, noise and a flat corner; components of `steps[c]` subsampling in both directions.
PeerFrame MakeFrame(int width, int height, int bits, bool isSigned, const std::vector<int>& steps,
                    int offset = 0)
{
    PeerFrame frame{offset, offset, width, height, bits, isSigned, {}};
    std::mt19937 random(5);
    const double top = (1 << bits) - 1, low = isSigned ? -(1 << (bits - 1)) : 0;
    for (size_t c = 0; c < steps.size(); ++c) {
        PeerComponent component{steps[c], steps[c], {}};
        for (int y = 0; y < PeerSamples(offset, height, steps[c]); ++y) {
            for (int x = 0; x < PeerSamples(offset, width, steps[c]); ++x) {
                const double wave =
                    0.5 + 0.3 * std::sin(x * 0.13 + static_cast<double>(c)) * std::cos(y * 0.09);
                const double noise = static_cast<double>(random() % 1000) / 1000 - 0.5;
                const bool flat = x < width / 4 && y < height / 4;
                component.samples.push_back(static_cast<int32_t>(
                    low + std::clamp((flat ? 0.25 : wave + noise * 0.1) * top, 0.0, top)));
            }
        }
        frame.components.push_back(component);
    }
    return frame;
}

PeerFrame Grey(int bits = 8)
{
    return MakeFrame(97, 61, bits, false, {1});
}

PeerFrame Colour()
{
    return MakeFrame(83, 70, 8, false, {1, 1, 1});
}

/// The rows our decoder is expected to deliver for what the peer decoded: samples on the image grid, blue
/// first.
ByteVector Expected(const opj_image_t& image, int bytes)
{
    const int width = static_cast<int>(image.x1 - image.x0), height = static_cast<int>(image.y1 - image.y0);
    const int components = static_cast<int>(image.numcomps);
    ByteVector rows;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            for (int s = 0; s < components; ++s) {
                const opj_image_comp_t& c = image.comps[components >= 3 && s < 3 ? 2 - s : s];
                const auto at = [](OPJ_UINT32 offset, int i, OPJ_UINT32 step, OPJ_UINT32 count) {
                    const int first = static_cast<int>((offset + step - 1) / step);
                    return std::clamp((static_cast<int>(offset) + i) / static_cast<int>(step) - first, 0,
                                      static_cast<int>(count) - 1);
                };
                int32_t value =
                    c.data[at(image.y0, y, c.dy, c.h) * static_cast<int>(c.w) + at(image.x0, x, c.dx, c.w)];
                if (bytes == 1 && c.prec < 8) value = static_cast<int32_t>(value * (1 << (8 - c.prec)));
                for (int b = 0; b < bytes; ++b) rows.push_back(static_cast<uint8_t>(value >> 8 * b));
            }
        }
    }
    return rows;
}

int Difference(const ByteVector& a, const ByteVector& b, int bytes, bool isSigned)
{
    int worst = 0;
    for (size_t i = 0; i + static_cast<size_t>(bytes) <= a.size(); i += static_cast<size_t>(bytes)) {
        const auto value = [&](const ByteVector& v) -> int {
            const int sample = bytes == 1 ? v[i] : v[i] | v[i + 1] << 8;
            if (!isSigned) return sample;
            return bytes == 1 ? static_cast<int8_t>(sample) : static_cast<int16_t>(sample);
        };
        worst = std::max(worst, std::abs(value(a) - value(b)));
    }
    return worst;
}

/// Decodes `stream` on both sides; `allowed` is the largest difference of a sample.
void Compare(std::vector<uint8_t> stream, int allowed, const std::string& name)
{
    opj_image_t* image = DecodeWithPeer(stream, 1);
    ASSERT_NE(image, nullptr) << name;
    const int bytes = image->comps[0].prec > 8 ? 2 : 1;
    const bool isSigned = image->comps[0].sgnd != 0;
    const uint32_t width = image->x1 - image->x0, height = image->y1 - image->y0;
    const ByteVector expected = Expected(*image, bytes);
    const auto bits = static_cast<uint32_t>(8 * bytes) * image->numcomps;
    opj_image_destroy(image);
    const Picture one = Decode(stream, width, height, bits, 1);
    ASSERT_EQ(one.status, kCodecOk) << name;
    EXPECT_LE(Difference(one.rows, expected, bytes, isSigned), allowed) << name;
    for (unsigned threads : {2u, 4u}) {
        const Picture more = Decode(stream, width, height, bits, threads);
        EXPECT_TRUE(more.status == kCodecOk && more.rows == one.rows) << name << " on " << threads;
    }
}

struct Option
{
    const char* name;
    std::function<void(opj_cparameters_t&)> set;
    PeerFrame (*frame)() = [] { return Grey(); };
    std::vector<const char*> extra = {};
};

void Precincts(opj_cparameters_t& p)
{
    p.csty |= 1;
    p.res_spec = 3;
    for (int i = 0; i < 3; ++i) p.prcw_init[i] = p.prch_init[i] = 32 >> i;
}

void Tiles(opj_cparameters_t& p)
{
    p.tile_size_on = OPJ_TRUE;
    p.cp_tdx = 40;
    p.cp_tdy = 33;
}

void Layers(opj_cparameters_t& p)
{
    p.tcp_numlayers = 3;
    p.tcp_rates[0] = 20;
    p.tcp_rates[1] = 8;
    p.tcp_rates[2] = p.irreversible != 0 ? 3 : 0;
}

template <int order>
void Progression(opj_cparameters_t& p)
{
    p.prog_order = static_cast<OPJ_PROG_ORDER>(order);
    Precincts(p);
    Layers(p);
}

const Option kOptions[] = {
    {"as it is", [](opj_cparameters_t&) {}},
    {"colour", [](opj_cparameters_t&) {}, [] { return Colour(); }},
    {"colour without transform", [](opj_cparameters_t& p) { p.tcp_mct = 0; }, [] { return Colour(); }},
    {"four components", [](opj_cparameters_t&) {},
     [] {
         return MakeFrame(40, 37, 8, false, {1, 1, 1, 1});
     }},
    {"subsampled", [](opj_cparameters_t&) {},
     [] {
         return MakeFrame(81, 55, 8, false, {1, 2, 2});
     }},
    {"subsampled at an offset", [](opj_cparameters_t&) {},
     [] {
         return MakeFrame(81, 55, 8, false, {1, 2, 4}, 5);
     }},
    {"4 bits", [](opj_cparameters_t&) {}, [] { return Grey(4); }},
    {"12 bits", [](opj_cparameters_t&) {}, [] { return Grey(12); }},
    {"16 bits", [](opj_cparameters_t&) {}, [] { return Grey(16); }},
    {"signed 8 bits", [](opj_cparameters_t&) {}, [] { return MakeFrame(64, 64, 8, true, {1}); }},
    {"signed 16 bits", [](opj_cparameters_t&) {}, [] { return MakeFrame(130, 64, 16, true, {1}); }},
    {"16 bits of colour", [](opj_cparameters_t&) {},
     [] {
         return MakeFrame(33, 64, 16, false, {1, 1, 1});
     }},
    {"LRCP", Progression<OPJ_LRCP>, [] { return Colour(); }},
    {"RLCP", Progression<OPJ_RLCP>, [] { return Colour(); }},
    {"RPCL", Progression<OPJ_RPCL>, [] { return Colour(); }},
    {"PCRL", Progression<OPJ_PCRL>, [] { return Colour(); }},
    {"CPRL", Progression<OPJ_CPRL>, [] { return Colour(); }},
    {"PCRL subsampled", Progression<OPJ_PCRL>,
     [] {
         return MakeFrame(81, 55, 8, false, {1, 2, 2}, 3);
     }},
    {"CPRL subsampled", Progression<OPJ_CPRL>,
     [] {
         return MakeFrame(81, 55, 8, false, {1, 2, 2});
     }},
    {"tiles", Tiles, [] { return Colour(); }},
    {"tiles at offsets",
     [](opj_cparameters_t& p) {
         Tiles(p);
         p.cp_tx0 = 3;
         p.cp_ty0 = 1;
         p.image_offset_x0 = p.image_offset_y0 = 7;
     },
     [] { return MakeFrame(97, 61, 8, false, {1}, 7); }},
    {"tile-parts",
     [](opj_cparameters_t& p) {
         p.tile_size_on = OPJ_TRUE;
         p.cp_tdx = p.cp_tdy = 64;
         p.prog_order = OPJ_RLCP;
         p.tp_on = 1;
         p.tp_flag = 'R';
     },
     [] {
         return MakeFrame(128, 128, 8, false, {1, 1, 1});
     }},
    {"packet marks",
     [](opj_cparameters_t& p) {
         Layers(p);
         p.csty |= 6;
     }},
    {"length marks", Tiles, [] { return Grey(); }, {"PLT=YES", "TLM=YES", nullptr}},
    {"region",
     [](opj_cparameters_t& p) {
         p.roi_compno = 0;
         p.roi_shift = 7;
     }},
    {"progression changes",
     [](opj_cparameters_t& p) {
         p.numpocs = 2;
         for (OPJ_UINT32 i = 0; i < 2; ++i) {
             opj_poc_t& poc = p.POC[i];
             poc.tile = 1;
             poc.resno0 = i == 0 ? 0 : 3;
             poc.resno1 = i == 0 ? 3 : 6;
             poc.compno1 = 3;
             poc.layno1 = 1;
             poc.prg1 = i == 0 ? OPJ_RLCP : OPJ_CPRL;
         }
     },
     [] { return Colour(); }},
    {"one resolution", [](opj_cparameters_t& p) { p.numresolution = 1; }},
    {"blocks 4x1024",
     [](opj_cparameters_t& p) {
         p.cblockw_init = 4;
         p.cblockh_init = 1024;
     }},
    {"blocks 1024x4",
     [](opj_cparameters_t& p) {
         p.cblockw_init = 1024;
         p.cblockh_init = 4;
     }},
    {"blocks 8x16",
     [](opj_cparameters_t& p) {
         p.cblockw_init = 8;
         p.cblockh_init = 16;
     }},
    {"one row", [](opj_cparameters_t& p) { p.numresolution = 1; },
     [] { return MakeFrame(150, 1, 8, false, {1}); }},
    {"one column", [](opj_cparameters_t& p) { p.numresolution = 1; },
     [] { return MakeFrame(1, 150, 8, false, {1}, 1); }},
    {"large enough for strips", [](opj_cparameters_t&) {},
     [] { return MakeFrame(611, 402, 12, false, {1}); }},
    {"colour in strips", [](opj_cparameters_t&) {},
     [] {
         return MakeFrame(323, 514, 8, false, {1, 1, 1});
     }},
};

TEST(J2kPeer, EncoderOptionsDecodeAsThePeerDecodesThem)
{
    for (const Option& option : kOptions) {
        for (bool lossy : {false, true}) {
            const PeerFrame frame = option.frame();
            opj_cparameters_t parameters = DefaultPeerParameters(frame);
            parameters.irreversible = lossy;
            option.set(parameters);
            const std::vector<uint8_t> stream =
                EncodeWithPeer(frame, parameters, option.extra.empty() ? nullptr : option.extra.data());
            EXPECT_FALSE(stream.empty()) << option.name;
            if (stream.empty()) continue;
            Compare(stream,
                    !lossy             ? 0
                    : frame.bits == 16 ? 3
                                       : 1,
                    option.name + std::string(lossy ? ", 9/7" : ", 5/3"));
        }
    }
}

TEST(J2kPeer, EveryBlockStyleDecodesExactly)
{
    const PeerFrame frame = MakeFrame(70, 66, 12, false, {1});
    for (int mode = 0; mode < 64; ++mode) {
        opj_cparameters_t parameters = DefaultPeerParameters(frame);
        parameters.mode = mode;
        parameters.cblockw_init = mode % 3 == 0 ? 64 : 32;
        Layers(parameters);
        std::vector<uint8_t> stream = EncodeWithPeer(frame, parameters);
        const Picture picture = Decode(stream, 70, 66, 16);
        ASSERT_EQ(picture.status, kCodecOk) << mode;
        ByteVector expected;
        for (int32_t sample : frame.components[0].samples) {
            expected.push_back(static_cast<uint8_t>(sample));
            expected.push_back(static_cast<uint8_t>(sample >> 8));
        }
        EXPECT_TRUE(picture.rows == expected) << mode;
    }
}

// The peer does not decode such a stream as it decodes the same packets in another order; the latter is what
// we are held to.
TEST(J2kPeer, ProgressionThatLeavesOutTheHighestResolutionEqualsAStreamCutBeforeIt)
{
    const PeerFrame frame = Colour();
    opj_cparameters_t parameters = DefaultPeerParameters(frame);
    parameters.numresolution = 3;
    parameters.prog_order = OPJ_RLCP;
    parameters.tp_on = 1;
    parameters.tp_flag = 'R';
    std::vector<uint8_t> cut = EncodeWithPeer(frame, parameters);
    const uint8_t mark[] = {0xFF, 0x90, 0x00, 0x0A};
    auto part = cut.begin();
    for (int i = 0; i < 3; ++i) part = std::search(part + 1, cut.end(), std::begin(mark), std::end(mark));
    ASSERT_NE(part, cut.end());
    cut.erase(part, cut.end());
    cut.insert(cut.end(), {0xFF, 0xD9});
    Compare(cut, 0, "cut before its third tile-part");

    parameters = DefaultPeerParameters(frame);
    parameters.numresolution = 3;
    parameters.numpocs = 1;
    opj_poc_t& change = parameters.POC[0];
    change.tile = 1;
    change.resno1 = 2;
    change.compno1 = 3;
    change.layno1 = 1;
    change.prg1 = OPJ_CPRL;
    const Picture picture = Decode(EncodeWithPeer(frame, parameters), 83, 70, 24);
    ASSERT_EQ(picture.status, kCodecOk);
    EXPECT_TRUE(picture.rows == Decode(cut, 83, 70, 24).rows);
}

/// A tile-part of a peer's stream taken apart at its SOP and EPH marks.
struct PeerPart
{
    ByteVector start;  ///< SOT and what follows it up to SOD
    ByteVector headers, bodies;
};

/// A peer's stream whose packets are marked: `main` receives the main header.
std::vector<PeerPart> SplitPackets(const ByteVector& stream, ByteVector* main)
{
    const auto word = [&](size_t at) { return static_cast<size_t>(stream[at] << 8 | stream[at + 1]); };
    size_t at = 2;
    while (word(at) != 0xFF90) at += 2 + word(at + 2);
    main->assign(stream.begin(), stream.begin() + static_cast<ptrdiff_t>(at));
    std::vector<PeerPart> parts;
    while (word(at) == 0xFF90) {
        const size_t end = at + (word(at + 6) << 16 | word(at + 8));
        PeerPart part;
        size_t packet = at + 12;
        while (word(packet) != 0xFF93) packet += 2 + word(packet + 2);
        part.start.assign(&stream[at], &stream[packet]);
        for (packet += 2; packet < end;) {
            size_t body = packet + 6;  // behind SOP
            while (word(body) != 0xFF92) ++body;
            body += 2;
            part.headers.insert(part.headers.end(), &stream[packet] + 6, &stream[body]);
            size_t next = body;
            while (next < end && word(next) != 0xFF91) ++next;
            part.bodies.insert(part.bodies.end(), stream.begin() + static_cast<ptrdiff_t>(body),
                               stream.begin() + static_cast<ptrdiff_t>(next));
            packet = next;
        }
        parts.push_back(part);
        at = end;
    }
    return parts;
}

/// The parts again, each with its packed headers in `piece` bytes a segment; the indices of a part go on
/// from those of the tile's parts before or start anew.
ByteVector WithTilePacked(const ByteVector& main, const std::vector<PeerPart>& parts, size_t piece, bool goOn)
{
    ByteWriter w;
    w.Bytes(main);
    std::map<int, uint32_t> indices;
    for (const PeerPart& part : parts) {
        uint32_t& index = indices[part.start[5]];
        if (!goOn) index = 0;
        ByteWriter header;
        for (size_t from = 0; from < part.headers.size(); from += piece) {
            const size_t count = std::min(piece, part.headers.size() - from);
            header.U16be(0xFF61).U16be(static_cast<uint32_t>(3 + count)).U8(index++);
            header.Bytes(&part.headers[from], count);
        }
        const size_t length = part.start.size() + header.Size() + 2 + part.bodies.size();
        w.Bytes(part.start.data(), 6).U32be(static_cast<uint32_t>(length));
        w.Bytes(&part.start[10], part.start.size() - 10).Bytes(header.Content());
        w.U16be(0xFF93).Bytes(part.bodies);
    }
    return w.U16be(0xFFD9);
}

ByteVector WithMainPacked(const ByteVector& main, const std::vector<PeerPart>& parts, size_t piece)
{
    ByteWriter packed;
    for (const PeerPart& part : parts)
        packed.U32be(static_cast<uint32_t>(part.headers.size())).Bytes(part.headers);
    ByteWriter header;
    header.Bytes(main);
    uint32_t index = 0;
    for (size_t from = 0; from < packed.Size(); from += piece) {
        const size_t count = std::min(piece, packed.Size() - from);
        header.U16be(0xFF60).U16be(static_cast<uint32_t>(3 + count)).U8(index++);
        header.Bytes(packed.Data() + from, count);
    }
    std::vector<PeerPart> bare = parts;
    for (PeerPart& part : bare) part.headers.clear();
    return WithTilePacked(header, bare, piece, false);
}

TEST(J2kPeer, HeadersOfThePeersPacketsDecodeFromWhereverTheyArePacked)
{
    const PeerFrame frame = Colour();
    opj_cparameters_t parameters = DefaultPeerParameters(frame);
    Tiles(parameters);
    Layers(parameters);
    parameters.numresolution = 3;
    parameters.csty |= 6;
    parameters.prog_order = OPJ_RLCP;
    parameters.tp_on = 1;
    parameters.tp_flag = 'R';
    const ByteVector stream = EncodeWithPeer(frame, parameters);
    const Picture expected = Decode(stream, 83, 70, 24);
    ASSERT_EQ(expected.status, kCodecOk);
    ByteVector main;
    const std::vector<PeerPart> parts = SplitPackets(stream, &main);
    ASSERT_EQ(parts.size(), 27u);
    for (size_t piece : {50u, 77u, 60000u}) {
        const ByteVector packed[] = {WithTilePacked(main, parts, piece, false),
                                     WithTilePacked(main, parts, piece, true),
                                     WithMainPacked(main, parts, piece)};
        for (const ByteVector& variant : packed) {
            const Picture picture = Decode(variant, 83, 70, 24);
            EXPECT_TRUE(picture.status == kCodecOk && picture.rows == expected.rows) << piece;
        }
    }
}

TEST(J2kPeer, TilesDoNotShowInSubsampledComponents)
{
    for (const std::vector<int>& steps : {std::vector<int>{1, 2, 2}, {4, 1, 2}}) {
        for (int offset : {0, 4})  // the peer loses tiles at offsets that are no multiples of the steps
        {
            const PeerFrame frame = MakeFrame(81, 55, 8, false, steps, offset);
            opj_cparameters_t parameters = DefaultPeerParameters(frame);
            parameters.numresolution = 2;
            parameters.image_offset_x0 = parameters.image_offset_y0 = offset;
            const Picture whole = Decode(EncodeWithPeer(frame, parameters), 81, 55, 24);
            ASSERT_EQ(whole.status, kCodecOk);
            parameters.tile_size_on = OPJ_TRUE;
            parameters.cp_tdx = 13;
            parameters.cp_tdy = 11;
            const ByteVector tiled = EncodeWithPeer(frame, parameters);
            for (unsigned threads : {1u, 3u}) {
                const Picture picture = Decode(tiled, 81, 55, 24, threads);
                EXPECT_TRUE(picture.status == kCodecOk && picture.rows == whole.rows)
                    << steps[0] << " at " << offset << " is " << picture.status;
            }
        }
    }
}

TEST(J2kPeer, ConformanceStreamsDecodeAsThePeerDecodesThem)
{
    for (const auto& entry : std::filesystem::directory_iterator(TALV_TEST_DATA "/samples/codec")) {
        if (entry.path().extension() != ".j2k") continue;
        Compare(Sample(entry.path().filename().string()), 1, entry.path().filename().string());
    }
}
TEST(J2kPeer, StreamsOfDicomFilesDecodeAsThePeerDecodesThem)
{
    for (const char* name : {"j2k-mr.dcm", "j2k-rgb-lossy.dcm", "j2k-nm-lossy.dcm"}) {
        const ByteVector file = Sample(std::string("../") + name);
        const uint8_t start[] = {0xFF, 0x4F, 0xFF, 0x51};
        const auto stream = std::search(file.begin(), file.end(), std::begin(start), std::end(start));
        ASSERT_NE(stream, file.end()) << name;
        Compare({stream, file.end()}, name[4] == 'm' ? 0 : 1, name);
    }
}
}  // namespace
}  // namespace talv::j2k_test

#else

TEST(J2kPeer, NeedsThePackagedLibrary)
{
    GTEST_SKIP() << "OpenJPEG is not installed";
}

#endif

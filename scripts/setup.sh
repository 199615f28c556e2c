#!/bin/bash
# Installs what building, checking and playing need on Debian 12, as packages of the distribution.
# A second run finds everything there and ends at once, without a word to the package manager.
set -u
cd "$(dirname "$0")/.." || exit 1

build_tools=(build-essential cmake ninja-build ccache git python3 clang libclang-rt-dev lld clang-format clang-tidy)
libraries=(googletest libgtest-dev libbenchmark-dev libcli11-dev nlohmann-json3-dev libpng-dev zlib1g-dev)
windows_tools=(g++-mingw-w64-i686-posix g++-mingw-w64-x86-64-posix mingw-w64-tools libz-mingw-w64-dev
    wine wine64 xvfb xauth imagemagick)
# The package: the installer, pages, the Debian package.
packagers=(nsis cmark-gfm dpkg-dev)
# Independent codecs and readers that tests and benchmarks compare with.
peers=(dcmtk libdcmtk-dev libgdcm-tools libgdcm-dev libjpeg-turbo-progs libturbojpeg0-dev libjpeg62-turbo-dev libopenjp2-tools
    libopenjp2-7-dev python3-pydicom python3-numpy ffmpeg mandoc)
# Wine plays compressed video streams with these.
media=(gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-plugins-bad gstreamer1.0-libav)
wanted=("${build_tools[@]}" "${libraries[@]}" "${windows_tools[@]}" "${packagers[@]}" "${peers[@]}" "${media[@]}")

wine64_files=/usr/lib/x86_64-linux-gnu/wine
no_win32_note=build/setup-without-32-bit-wine

say() { echo "setup: $*"; }

missing_of() {
    local present
    present=$(dpkg-query -W -f '${db:Status-Status} ${binary:Package} ${Package}\n' 2>/dev/null |
        awk '$1 == "installed" { sub(/:amd64$/, "", $2); print $2; print $3 }' | sort -u)
    printf '%s\n' "$@" | grep -vxF -f <(printf '%s\n' "$present")
}

# 32-bit Windows programs run with the package wine32:i386, or with the Windows-side files of its library alone.
runs_win32() {
    [ -x /usr/lib/wine/wine ] || [ "$(find "$wine64_files/i386-windows" -name '*.dll' 2>/dev/null | head -200 | wc -l)" -ge 200 ]
}

as_root() {
    if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

install() {
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends \
        -o Dpkg::Options::=--force-confold "$@"
}

# True when the packages could be installed without removing any other.
is_installable() {
    local plan
    plan=$(apt-get install -s -q --no-install-recommends "$@" 2>/dev/null) && ! grep -q '^Remv ' <<<"$plan"
}

# The 64-bit Wine runs 32-bit programs when the Windows-side files of the same version lie beside its own. They can
# do everything but draw.
add_windows_side_files() {
    local folder version
    version=$(dpkg-query -W -f '${Version}' libwine:amd64) || return 1
    folder=$(mktemp -d) || return 1
    (cd "$folder" && apt-get download -q "libwine:i386=$version" && dpkg -x libwine_*_i386.deb unpacked) &&
        as_root cp -r "$folder/unpacked/usr/lib/i386-linux-gnu/wine/i386-windows" "$wine64_files/"
    local result=$?
    rm -rf "$folder"
    return $result
}

mapfile -t missing < <(missing_of "${wanted[@]}")
need_win32=no
if ! runs_win32 && { [ ! -e "$no_win32_note" ] || [ "${1:-}" = --again ]; }; then need_win32=yes; fi
if [ ${#missing[@]} = 0 ] && [ $need_win32 = no ]; then
    say "everything needed is installed"
    exit 0
fi

say "installing ${missing[*]:-}$([ $need_win32 = yes ] && echo ' wine32:i386')"
if [ $need_win32 = yes ] && ! dpkg --print-foreign-architectures | grep -qx i386; then
    as_root dpkg --add-architecture i386
fi
# An index that cannot be fetched is no reason to stop: the packages may be in the others.
as_root apt-get update -q || say "some package lists could not be refreshed; going on with what is there"
release=$(. /etc/os-release && echo "${VERSION_CODENAME:-bookworm}")

# Both architectures of a library must have one version. When the newest of one is not to be had for the other, the
# release's own versions (-t) fit together.
installed=no
if [ $need_win32 = yes ]; then
    for choice in "" "-t $release"; do
        # shellcheck disable=SC2086
        if is_installable $choice "${missing[@]}" wine32:i386; then
            # shellcheck disable=SC2086
            install $choice "${missing[@]}" wine32:i386 && installed=yes && break
        fi
    done
fi
if [ $installed = no ] && [ ${#missing[@]} -gt 0 ]; then
    for choice in "" "-t $release"; do
        # shellcheck disable=SC2086
        if is_installable $choice "${missing[@]}"; then
            # shellcheck disable=SC2086
            install $choice "${missing[@]}" && installed=yes && break
        fi
    done
    if [ $installed = no ]; then
        install "${missing[@]}" || { say "the packages could not be installed"; exit 1; }
    fi
fi
mkdir -p build
if ! runs_win32; then
    if add_windows_side_files; then
        say "wine32:i386 cannot be installed here: 32-bit programs run, but cannot draw"
    else
        say "32-bit Windows programs cannot run here; their tests will be skipped"
        touch "$no_win32_note"
    fi
fi
runs_win32 && rm -f "$no_win32_note"
mapfile -t missing < <(missing_of "${wanted[@]}")
if [ ${#missing[@]} -gt 0 ]; then
    say "still missing: ${missing[*]}"
    exit 1
fi
say "done"

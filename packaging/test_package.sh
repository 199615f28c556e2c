#!/bin/bash
# Tries what ./package made, in a Wine prefix of its own that nothing was ever installed in. Prints a line
# "pass NAME" or "fail NAME WHY" for each check.
#
#   packaging/test_package.sh
set -u
cd "$(dirname "$0")/.." || exit 2
version=$(sed -n 's/^project(.* VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
name=talv-dicom-reader-$version
work=$PWD/build/package-test
rm -rf "$work"
mkdir -p "$work/a folder"
export FLT_WINEPREFIX=$work/prefix
export FLT_WINE_TIMEOUT=120
. scripts/wine-session.sh
trap wine_session_stop EXIT
wine_session_stop  # another prefix may be in use
status=0

check() {  # check NAME COMMAND...: passes when the command does
    local name=$1 output
    shift
    if output=$("$@" 2>&1); then echo "pass $name"; else
        echo "fail $name: $(tail -3 <<<"$output" | tr '\r\n' '  ')"
        status=1
    fi
}

run() { scripts/wine-run "$@"; }
windows_path() { printf 'Z:%s' "$1" | tr / '\\'; }

# The keys below which classes, filters and file types live, and every line anywhere that bears the maker's name. (The
# rest of the registry changes by itself: Wine notes network cards, sound devices and browsers there.)
keys_now() {
    local out=$1 key
    : >"$out"
    for key in 'HKLM\Software' 'HKCU\Software'; do
        rm -f "$work/export.reg"
        run reg export "$key" "$(windows_path "$work/export.reg")" /y >/dev/null || return 1
        # An empty HKCU\Software\Classes comes with the first query.
        iconv -f UTF-16 -t UTF-8 "$work/export.reg" | tr -d '\r' | awk -v RS= -v ORS='\n\n' '
            /^\[[^\n]*\\Software\\Classes\]$/ { next }
            /^\[[^\n]*\\Classes\\/ || tolower($0) ~ /talv/' >>"$out"
    done
}

nothing_left() { keys_now "$work/after.txt" && diff -u "$work/before.txt" "$work/after.txt"; }

registered() {  # registered CLSID VIEW
    run reg query "HKLM\\Software\\Classes\\CLSID\\$1\\InprocServer32" "/reg:$2" | grep -qi '\.ax'
}

both_registered() {
    local class view
    for class in "$reader" "$grey"; do
        for view in 32 64; do
            registered "$class" "$view" || { echo "$class is not registered for $view bits"; return 1; }
        done
    done
}

plays() {  # plays FOLDER CLIP
    run "$files/$1/dicplay.exe" --quiet "$(windows_path "$2")"
}

# decodes PROGRAM LIBRARY: a picture that the installed converter wrote, with the exported function.
decodes() {
    convert -size 64x48 gradient:red-blue -quality 95 "$work/picture.jpg" &&
        run "$1" "$(windows_path "$2")" "$(windows_path "$work/picture.jpg")" 64 48 "$(windows_path "$work/picture.ppm")" &&
        [ "$(compare -metric PSNR "$work/picture.jpg" "$work/picture.ppm" null: 2>&1 | cut -d. -f1)" -ge 40 ]
}

describes() { run cscript.exe //nologo "$(windows_path "$PWD/docs/examples/describe_clip.vbs")" "$(windows_path "$1")" | grep -q 'user frame time: 40 ms'; }

associated() {
    run cmd /c "$(windows_path "$files/associate-dcm.cmd")" &&
        run reg query 'HKCU\Software\Classes\.dcm' | grep -q TalvDicomReader.Clip &&
        run reg query 'HKCU\Software\Classes\Media Type\Extensions\.dcm' /reg:32 | grep -qi "$reader" &&
        run reg query 'HKCU\Software\Classes\Media Type\Extensions\.dcm' /reg:64 | grep -qi "$reader"
}

keeps_what_was_associated() {
    run reg add 'HKCU\Software\Classes\.dcm' /ve /d Other.Viewer /f &&
        associated && associated && run cmd /c "$(windows_path "$files/associate-dcm.cmd")" /undo &&
        run reg query 'HKCU\Software\Classes\.dcm' /ve | grep -q Other.Viewer &&
        run reg delete 'HKCU\Software\Classes\.dcm' /f
}

grey_clip=le-mr-10f.dcm
reader={E2B7DDB8-38C5-11D5-91F6-00104BDB8FF9}
grey={E8AD189E-52E8-497E-8215-7994D6930D23}
python3 -m zipfile -e "build/package/$name-windows.zip" "$work/a folder" || exit 1
files="$work/a folder/$name"

check package.sums sh -c "cd '$files' && sha256sum --quiet -c SHA256SUMS && cd '$PWD/build/package' && sha256sum --quiet -c SHA256SUMS"
check package.prefix wine_session_start
describes "$files/cine-us.dcm"  # in vain: Wine's script host registers a library of its own when it is first used
keys_now "$work/before.txt"
check package.register run cmd /c "$(windows_path "$files/register.cmd")" /quiet
check package.classes both_registered
for bits in 64 32; do
    folder=x64
    [ $bits = 32 ] && folder=x86
    check "package.plays$bits" plays $folder "$files/cine-us.dcm"
    check "package.plays16bit$bits" plays $folder "$PWD/tests/data/samples/$grey_clip"
    # The programs that the guides quote.
    examples=build/win$bits/docs/examples
    check "package.example-play$bits" run $examples/play_clip.exe "$(windows_path "$PWD/tests/data/samples/$grey_clip")"
    check "package.example-decode$bits" decodes $examples/decode_jpeg.exe "$files/$folder/TVDicRd2.ax"
done
check package.example-script describes "$files/cine-us.dcm"
check package.associate associated
check package.associate-undo run cmd /c "$(windows_path "$files/associate-dcm.cmd")" /undo
check package.associate-keeps keeps_what_was_associated
check package.unregister run cmd /c "$(windows_path "$files/unregister.cmd")" /quiet
check package.unregister-leaves-nothing nothing_left

if [ -e "build/package/$name-setup.exe" ]; then
    target=$FLT_WINEPREFIX/drive_c/talv
    check package.installs run "build/package/$name-setup.exe" /S '/D=C:\talv'
    check package.installed-classes both_registered
    check package.uninstalls run "$target/uninstall.exe" /S '_?=C:\talv'
    rm -f "$target/uninstall.exe" && rmdir "$target" 2>/dev/null  # with _? it cannot delete itself
    check package.uninstall-leaves-no-key nothing_left
    check package.uninstall-leaves-no-file test ! -e "$target"
fi
exit $status

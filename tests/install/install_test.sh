#!/usr/bin/env bash
# Installs the build into a fresh prefix and builds the examples against the installed files alone,
# with pkg-config and with CMake: the C host lists a recording written by the installed tool, and the
# installed library finds the example plug-in in its plug-in folder and autodetects its format.
# Usage: install_test.sh BUILD_DIR SOURCE_DIR C_COMPILER CXX_COMPILER "COMPILE_FLAGS"
set -euo pipefail
build=$1 source=$2 cc=$3 cxx=$4 flags=$5
work=$build/install-test
prefix=$work/prefix
rm -rf "$work"
mkdir -p "$work"

fail() {
    echo "FAIL: $*" >&2
    exit 1
}

cmake --install "$build" --prefix "$prefix" >/dev/null
libdir=$(dirname "$(find "$prefix" -name libVorncastDecoders.so -print -quit)")
[ -n "$libdir" ] || fail "no libVorncastDecoders.so under $prefix"
for file in include/vorncast/VorncastDecoders.h bin/vorncast include/vorncast/plugin/model/decoder/Decoder.h; do
    [ -e "$prefix/$file" ] || fail "$file is not installed"
done
readelf -d "$libdir/libVorncastDecoders.so" | grep -q 'SONAME.*\[libVorncastDecoders\.so\.3\]' ||
    fail "the library's soname is not libVorncastDecoders.so.3"
[ -e "$libdir/libVorncastDecoders.so.3" ] || fail "libVorncastDecoders.so.3 is not installed"

# With pkg-config: the C host, and the plug-in.
export PKG_CONFIG_PATH=$libdir/pkgconfig
# shellcheck disable=SC2086,SC2046
"$cc" $flags -std=c99 -Wall -Wextra -pedantic -Werror -c "$source/examples/list_frames.c" \
    $(pkg-config --cflags vorncast) -o "$work/list_frames.o"
# Linked by the C++ driver, which brings the C++ half of a sanitizer runtime that an instrumented
# library calls; an uninstrumented one needs nothing of it.
# shellcheck disable=SC2086,SC2046
"$cxx" $flags "$work/list_frames.o" $(pkg-config --libs vorncast) -Wl,-rpath,"$libdir" -o "$work/list_frames"
# shellcheck disable=SC2086,SC2046
"$cxx" $flags -shared -fPIC -fvisibility=hidden -Wall -Wextra -Werror "$source/examples/plugin/PluginDecoderTestCard.cpp" \
    $(pkg-config --cflags --libs vorncast-plugin) -o "$work/PluginDecoderTestCard.so"

# With CMake: both again, and the plug-in installed into the library's plug-in folder. A sanitized
# library is linked, here too, by the C++ driver.
cmake -S "$source/examples" -B "$work/examples" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" \
    ${flags:+-DCMAKE_EXE_LINKER_FLAGS="$flags"} \
    ${flags:+"-DCMAKE_C_LINK_EXECUTABLE=$cxx <FLAGS> <CMAKE_C_LINK_FLAGS> <LINK_FLAGS> <OBJECTS> -o <TARGET> <LINK_LIBRARIES>"} \
    >/dev/null
cmake --build "$work/examples" >/dev/null
cmake --install "$work/examples" >/dev/null
[ -e "$libdir/plugins/import/PluginDecoderTestCard.so" ] || fail "the plug-in is not in the plug-in folder"

# The C host on a recording written by the installed tool.
"$prefix/bin/vorncast" sample "$work/recording" --frames 6 --size 64x48 >/dev/null
for host in "$work/list_frames" "$work/examples/list_frames"; do
    "$host" "$work/recording/sample.mp4" >"$work/listing.txt"
    frames=$(grep -c '^    frame ' "$work/listing.txt")
    [ "$frames" -eq 6 ] || fail "$host listed $frames frames of the sample, not 6"
done
# Stream times rise frame by frame.
awk '/^    frame / { t = $(NF - 1) + 0; if (NR > 1 && seen && t <= last) bad = 1; last = t; seen = 1 } END { exit bad }' \
    "$work/listing.txt" || fail "stream times do not rise"

# The plug-in's format, autodetected through the installed library; the recorder time of each frame.
echo "VXC1 32 24 5 10 1700000000" >"$work/card.vxc"
"$work/examples/list_frames" "$work/card.vxc" >"$work/card.txt"
grep -q '^decoder: Test card$' "$work/card.txt" || fail "autodetection did not reach the plug-in: $(cat "$work/card.txt")"
[ "$(grep -c '^    frame ' "$work/card.txt")" -eq 5 ] || fail "the plug-in's stream has not 5 frames"
grep -q 'frame 0  recorded 2023/11/14 22:13:20.000  stream 0.000 s' "$work/card.txt" || fail "first frame: $(cat "$work/card.txt")"
grep -q 'frame 4  recorded 2023/11/14 22:13:20.400  stream 0.400 s' "$work/card.txt" || fail "last frame: $(cat "$work/card.txt")"
# Behind the 75 built-in decoders, beside the plug-in installed with the library.
[ -e "$libdir/plugins/import/PluginDecoderFFmpeg.so" ] || fail "the FFmpeg plug-in is not installed"
"$prefix/bin/vorncast" decoders --json >"$work/decoders.json"
python3 -c 'import json,sys; names=[d["name"] for d in json.load(open(sys.argv[1]))]; sys.exit(0 if len(names)==77 and sorted(names[75:])==["FFmpeg container","Test card"] else 1)' \
    "$work/decoders.json" || fail "the plug-ins' decoders are not entries 75 and 76 of 77"
echo "installed tree, examples and plug-in: ok"

#!/usr/bin/env bash
# Makes the archive a party's compo machine plays and viewers download:
# OUTPUT/<title>-linux-x86_64.zip (OUTPUT is BUILD/release unless given), one folder holding the
# program of BUILD (a Release build, stripped here), its start script, data/ set for a showing,
# lib/ with every library it needs that a stock desktop lacks, and README.txt.
#
# Usage: scripts/release.sh [BUILD [OUTPUT]]    run from the repository root
#
# The program finds lib/ through a DT_RPATH of $ORIGIN/lib. DT_RUNPATH would not do: it serves
# only the program's own dependencies, while SDL 1.2's compatibility layer dlopens SDL2, which
# needs more of lib/, and an executable's DT_RPATH is searched for every object without a run
# path of its own, which no bundled library has (checked below).
set -euo pipefail

build=${1:-build}
output=${2:-$build/release}

fail() {
    echo "release: $*" >&2
    exit 1
}

# The machine's own set, never bundled: the C runtime family, the C++ runtime, the graphics
# driver and the X11, ALSA and PulseAudio clients. The driver includes gbm and libdrm: their
# backends and users are the driver's own libraries (NVIDIA's gbm backend, Mesa's DRI drivers),
# which would otherwise bind to a bundled copy older than the one they were built against.
own='^(ld-linux-x86-64|lib(c|m|dl|pthread|rt|mvec|resolv|util|anl)|libstdc\+\+|libgcc_s|lib(GL|GLX|EGL|OpenGL|GLdispatch|GLESv1_CM|GLESv2|glapi|gbm|drm)(_[a-z0-9]+)?|libX[A-Za-z0-9-]*|libxcb[a-z0-9-]*|libasound|libpulse[a-z0-9-]*)\.so'
# Loaded with dlopen, so no list of dependencies names it: libSDL-1.2 is a compatibility layer
# that loads SDL2 at start-up. The other libraries SDL2 and OpenAL Soft may dlopen are left to
# the machine: JACK and PortAudio (OpenAL's outputs for servers a stock desktop does not run;
# "auto" takes PulseAudio or ALSA), udev, D-Bus and Vulkan (SDL2 plays on without them, and they
# speak to the machine's own services and drivers).
dlopened=(libSDL2-2.0.so.0)
# The newest symbol versions Ubuntu 22.04 and Linux Mint 21 provide (glibc 2.35, GCC 12's runtime)
limits=(GLIBC_2.35 GLIBCXX_3.4.30 CXXABI_1.3.13)

[ -x "$build/demo" ] || fail "no program at $build/demo: build it first (make build)"
grep -qx 'CMAKE_BUILD_TYPE:STRING=Release' "$build/CMakeCache.txt" &&
    ! grep -qx 'DEMO_SANITIZE:BOOL=ON' "$build/CMakeCache.txt" ||
    fail "$build is not a plain Release build: configure it with -DCMAKE_BUILD_TYPE=Release"
for folder in data/textures data/shaders data/audio; do
    [ -d "$folder" ] || fail "no $folder: build the content first (make build)"
done

showing=$(lua5.1 scripts/release/showing.lua data/config.lua) || exit 1
read_setting() { lua5.1 -e "dofile('data/config.lua') io.write(tostring($1 or ''))"; }
title=$(read_setting TITLE)
version=$(read_setting VERSION)
music=$(read_setting MUSIC)
name=${title,,}
name=${name// /-}
[[ -n $name && $name != */* && $name != .* ]] || fail "the title \"$title\" makes no file name"
[ -f "data/audio/$music" ] || fail "no data/audio/$music, the track MUSIC names"

mkdir -p "$output"
stage=$(mktemp -d "$output/.stage.XXXXXX")
trap 'rm -rf "$stage"' EXIT
folder="$stage/$name"
mkdir -p "$folder/lib" "$folder/data/audio"

# The program: symbols it exports stay (a rehearsal's scene module resolves the engine from them).
cp "$build/demo" "$folder/demo"
strip "$folder/demo"
patchelf --force-rpath --set-rpath '$ORIGIN/lib' "$folder/demo"
cp scripts/release/run.sh "$folder/run.sh"
text=$(<scripts/release/README.txt)
text=${text//@TITLE@/"$title"}
printf '%s\n' "${text//@VERSION@/"$version"}" >"$folder/README.txt"

# What the program reads: the settings, the schedule, the shaders, the pictures, its track and
# the sync tracks.
printf '%s\n' "$showing" >"$folder/data/config.lua"
cp -rL data/demo.lua data/shaders data/textures "$folder/data/"
cp -L "data/audio/$music" "$folder/data/audio/"
[ ! -d data/sync ] || cp -rL data/sync "$folder/data/"

# lib/: the libraries the program and what it dlopens need, and theirs in turn, each under the
# name the loader looks for; the machine's own set ends the walk.
# Where this machine's loader finds each of them: ldd of the program and of what it dlopens.
declare -A where bundled
for soname in "${dlopened[@]}"; do
    where[$soname]=$(ldconfig -p | awk -v soname="$soname" '$1 == soname && /x86-64/ && !found++ { print $NF }')
    [ -n "${where[$soname]}" ] || fail "$soname is loaded at run time and not installed here"
done
while read -r soname path; do
    where[$soname]=$path
done < <(for file in "$build/demo" "${where[@]}"; do ldd "$file"; done | awk '$2 == "=>" && $3 ~ /^\// { print $1, $3 }')
needs() { objdump -p "$1" | awk '$1 == "NEEDED" { print $2 }'; }
bundle() {
    local soname
    for soname in "$@"; do
        [[ $soname =~ $own || -n ${bundled[$soname]:-} ]] && continue
        [ -n "${where[$soname]:-}" ] || fail "$soname is needed and not installed here"
        bundled[$soname]=1
        cp "${where[$soname]}" "$folder/lib/$soname"
        [ -z "$(objdump -p "$folder/lib/$soname" | awk '$1 == "RPATH" || $1 == "RUNPATH"')" ] ||
            fail "lib/$soname has a run path of its own, which would hide lib/ from its dependencies"
        bundle $(needs "$folder/lib/$soname")
    done
}
bundle $(needs "$folder/demo") "${dlopened[@]}"

# Every ELF file packed against the limits; the newest version of each family is reported.
find "$folder" -type f -print0 | while IFS= read -r -d '' file; do
    [ "$(head -c 4 "$file" | tail -c 3)" != ELF ] || { echo "FILE $file"; objdump -T "$file"; }
done |
    awk -v limits="${limits[*]}" -v stage="$folder/" '
        function newer(a, b,    x, y, k) {
            split(a, x, "."); split(b, y, ".")
            for (k = 1; k <= 4; k++) if (x[k] + 0 != y[k] + 0) return x[k] + 0 > y[k] + 0
            return 0
        }
        BEGIN { n = split(limits, l, " "); for (i = 1; i <= n; i++) { split(l[i], p, "_"); limit[p[1]] = p[2] } }
        $1 == "FILE" { file = substr($0, 6 + length(stage)); next }
        / \*UND\*/ && match($0, /\((GLIBC|GLIBCXX|CXXABI)_[0-9.]+\)/) {
            split(substr($0, RSTART + 1, RLENGTH - 2), p, "_")
            if (newer(p[2], limit[p[1]])) {
                printf "release: %s needs %s from %s_%s, newer than the %s_%s a stock desktop has\n",
                    file, $NF, p[1], p[2], p[1], limit[p[1]] > "/dev/stderr"
                failed = 1
            }
            if (newer(p[2], newest[p[1]])) newest[p[1]] = p[2]
        }
        END {
            if (failed) exit 1
            printf "release: the newest versions needed: GLIBC_%s, GLIBCXX_%s, CXXABI_%s\n",
                newest["GLIBC"], newest["GLIBCXX"], newest["CXXABI"]
        }'

archive="$name-linux-x86_64.zip"
(cd "$stage" && zip -qr -X "$archive" "$name")
mv -f "$stage/$archive" "$output/$archive"
echo "release: $output/$archive ($(du -k "$output/$archive" | cut -f1) kB, lib/: ${!bundled[*]})"

#!/usr/bin/env bash
# The release archive as a party's crew meets it.
#   files FOLDER SOURCE    the archive in FOLDER: its layout, its settings against SOURCE's, and
#                          every ELF file's symbol versions and libraries
#   showing FOLDER         the archive played in a minimal Debian root (made once per machine and
#                          kept in DEMO_RELEASE_ROOTS), read-only at a path with a space, by an
#                          ordinary user, on an Xvfb outside the root: a scene on screen, Escape
#                          ends it with status 0, nothing written; then the same with -d
# Needs root rights for the showing (mounts, chroot); never skips without them.
set -euo pipefail
export LC_ALL=C
check=$1 release=$2 source=${3:-}

fail() {
    echo "release test: $*" >&2
    exit 1
}

# The showing's mounts are made where no other process sees them, and go with this process.
if [ "$check" = showing ] && [ -z "${RELEASE_TEST_ALONE:-}" ]; then
    [ "$(id -u)" = 0 ] || fail "playing the archive in a Debian root needs root rights (mounts, chroot)"
    exec env RELEASE_TEST_ALONE=1 unshare -m --propagation private bash "$0" "$@"
fi

work=$(mktemp -d)
trap 'kill $(jobs -p) $xvfb 2>/dev/null || true; rm -rf --one-file-system "$work"' EXIT
xvfb= zip=
for made in "$release"/*-linux-x86_64.zip; do [ "$made" -nt "$zip" ] && zip=$made; done
[ -f "$zip" ] || fail "no archive in $release"
unzip -q "$zip" -d "$work/archive"
folder=$(echo "$work/archive"/*)
name=${folder##*/}

files() {
    cd "$folder"
    [ "$(echo *)" = "README.txt data demo lib run.sh" ] || fail "the folder holds $(echo *)"
    # The machine's own set: the C and C++ runtimes, the graphics driver, X11, ALSA, PulseAudio
    local own='^(ld-linux|lib(c|m|dl|pthread|rt|stdc\+\+|gcc_s|GL|GLX(_.*)?|GLdispatch|GLES.*|EGL(_.*)?|OpenGL|glapi|gbm|drm(_.*)?|X.*|xcb.*|asound|pulse.*))\.so'
    local file soname needed=libSDL2-2.0.so.0
    for file in $(find . -type f -exec sh -c '[ "$(head -c 4 "$1" | tail -c 3)" = ELF ]' sh {} \; -print); do
        needed+=" $(objdump -p "$file" | awk '$1 == "NEEDED" { print $2 }')"
        objdump -T "$file" | grep -o '(\(GLIBC\|GLIBCXX\|CXXABI\)_[0-9.]*)' | sed "s|^|$file |" >>"$work/versions" || true
    done
    for soname in $needed; do
        [[ $soname =~ $own || -f lib/$soname ]] || fail "$soname is needed, and neither in lib/ nor the machine's"
    done
    for file in lib/*; do [[ ! ${file#lib/} =~ $own ]] || fail "$file is the machine's own and must not be bundled"; done
    local limit newest
    for limit in GLIBC_2.35 GLIBCXX_3.4.30 CXXABI_1.3.13; do
        newest=$(tr -d '()' <"$work/versions" | awk '{ print $2 }' | grep "^${limit%_*}_[0-9]" | sort -uV | tail -1)
        echo "newest needed: $newest"
        [ "$(printf '%s\n' "$newest" "$limit" | sort -V | tail -1)" = "$limit" ] ||
            fail "$newest, newer than $limit, is needed by" $(grep -F "($newest)" "$work/versions" | cut -d' ' -f1 | sort -u)
    done
    # What the program reads: the tree's data, its one track, and the settings: every key of the
    # tree's, with the showing's own values
    diff -r -x config.lua -x audio "$source/data" data >&2 || fail "data/ differs from the tree's"
    [ "$(ls data/audio)" = "$(lua5.1 -e "dofile('data/config.lua') io.write(MUSIC)")" ] &&
        cmp "$source/data/audio/$(ls data/audio)" data/audio/* || fail "data/audio/ is not the track alone"
    lua5.1 -e "
        local function read(path) local t = setmetatable({}, {__index = _G}) setfenv(assert(loadfile(path)), t)() return t end
        local tree, released = read('$source/data/config.lua'), read('data/config.lua')
        local showing = {DEBUG = false, FULLSCREEN = true, WIDTH = 1920, HEIGHT = 1080, VSYNC = true, AUDIO = 'auto'}
        for key, value in pairs(tree) do if showing[key] == nil then showing[key] = value end end
        for key, value in pairs(showing) do
            if released[key] ~= value then error(key .. ' is ' .. tostring(released[key]) .. ', not ' .. tostring(value)) end
        end" || fail "data/config.lua is not the tree's set for a showing"
}

# The root: the minimal base, the machine's own set and Mesa's drivers; no development package. Made
# under a lock into a .part folder renamed when complete: a run killed midway leaves no root.
debian_root() {
    local packages=libc6,libstdc++6,libgcc-s1,libgl1,libglx0,libegl1,libopengl0,libgl1-mesa-dri,libglx-mesa0,libegl-mesa0,libgbm1,libdrm2,libx11-6,libxext6,libxcursor1,libxi6,libxfixes3,libxrandr2,libxss1,libasound2,libpulse0
    local roots=${DEMO_RELEASE_ROOTS:-/var/cache/rockinghorse-release}
    root="$roots/bookworm-$(md5sum <<<"$packages" | cut -c1-12)"
    mkdir -p "$roots"
    exec 9>"$roots/lock"
    flock 9
    if [ ! -d "$root" ]; then
        rm -rf --one-file-system "$roots"/*.part
        echo "making the Debian root $root (a minute or two, once per machine)"
        mmdebstrap --variant=minbase --include="$packages" \
            --customize-hook='echo "viewer:x:1000:1000::/home/viewer:/bin/sh" >>"$1/etc/passwd"' \
            bookworm "$root.part" >"$work/mmdebstrap.log" 2>&1 ||
            { tail -20 "$work/mmdebstrap.log"; fail "cannot make the Debian root $root with mmdebstrap"; }
        mv "$root.part" "$root"
    fi
    exec 9>&-
}

# Plays the archive with these options, from a fresh folder of the viewer's own, until a picture
# is on screen (checked when `scene` names a file to keep it in), then presses Escape.
play() {
    local scene=$1 here="$root/home/viewer/here" what="run.sh${2:+ ${*:2}}"
    shift
    mkdir -p "$here" && chown -R 1000:1000 "$root/home/viewer" && touch "$work/stamp"
    env -i DISPLAY="$display" HOME=/home/viewer PATH=/usr/sbin:/usr/bin:/bin chroot --userspec=1000:1000 "$root" \
        sh -c 'cd /home/viewer/here && exec "$0" "$@"' "/media/demo disk/$name/run.sh" "$@" &
    local pid=$! lit=0 tries window
    window=$(DISPLAY=$display timeout 60 xdotool search --sync --onlyvisible --pid $pid 2>/dev/null | head -1) || true
    [ -n "$window" ] || fail "$what opened no window"
    for ((tries = 0; tries < 120 && lit < 288; tries++)); do
        [ -n "$scene" ] || break
        kill -0 $pid 2>/dev/null || fail "the demo ended before a scene was on screen"
        ffmpeg -loglevel error -f x11grab -video_size 1920x1080 -i "$display" -frames:v 1 -y "$scene"
        # Of the screen in 32 x 18 blocks, how many are lit, where they differ in at least 16
        # shades: the loading screen's bar lights a few, a picture of one colour none
        lit=$(ffmpeg -loglevel error -i "$scene" -vf scale=32:18,format=gray -f rawvideo - | od -An -v -tu1 |
            tr -s ' ' '\n' | awk 'NF { lit += $1 > 24; shades += !seen[$1]++ } END { print shades < 16 ? 0 : lit }')
        sleep 0.5
    done
    [ -z "$scene" ] || [ "$lit" -ge 288 ] || fail "the screen stayed blank: $lit of 576 blocks lit (see $scene)"
    DISPLAY=$display xdotool windowfocus --sync "$window" key Escape
    timeout 10 tail --pid=$pid -f /dev/null || fail "Escape did not end $what"
    wait $pid || fail "Escape ended $what with status $?"
    [ -z "$(ls -A "$here")$(find "$folder" -newer "$work/stamp")" ] ||
        fail "$what wrote $(ls -A "$here") $(find "$folder" -newer "$work/stamp")"
}

showing() {
    debian_root
    exec 3< <(exec Xvfb -displayfd 1 -screen 0 1920x1080x24 -nolisten tcp 2>/dev/null)
    xvfb=$!
    read -r -t 10 number <&3 || fail "Xvfb did not start"
    display=":$number"
    mount -o bind,ro "$root" "$root"
    mount -t proc proc "$root/proc"
    mount --rbind /dev "$root/dev"
    for tmp in tmp home media; do mount -t tmpfs tmpfs "$root/$tmp"; done
    mkdir "$root/tmp/.X11-unix" "$root/media/demo disk"
    mount --bind /tmp/.X11-unix "$root/tmp/.X11-unix"
    mount -o bind,ro "$work/archive" "$root/media/demo disk"
    play "$release/showing.png"
    play "" -d
    echo "a scene on screen ($release/showing.png), Escape ended it with status 0, nothing written; the same with -d"
}

case $check in
files) files ;;
showing) showing ;;
*) fail "unknown check $check" ;;
esac

#!/usr/bin/env bash
# Fault injection: applies each plausible fault below to framework/, scenes/ or capture/ of a built tree,
# one at a time, rebuilds, runs the suite and records whether a test failed (caught) or not
# (missed). The tree is restored after every fault.
#   scripts/faults.sh TREE [BUILD_DIR] [FAULT_NUMBER...]
# Writes TREE/faults-result.txt. The content tests are left out: they check the generated
# pictures and track, which no fault here touches. FAULT_TARGETS (default: all) names the
# targets to rebuild and FAULT_TESTS (default: all) a ctest -R pattern of the tests to run; the
# first failing test ends a run.
set -u
tree=$(cd "${1:?usage: faults.sh TREE [BUILD_DIR] [N...]}" && pwd)
build=${2:-$tree/build}
shift $(( $# >= 2 ? 2 : 1 ))
only=" $* "

# file | sed expression | what a user would notice
faults=(
"framework/demo.cpp|s/getLength() - 99/getLength() - 100/|the demo ends 100 ms before the music instead of 99"
"framework/demo.cpp|s/getPosition() >= music.getLength()/getPosition() > music.getLength()/|the demo ends 98 ms before the music instead of 99"
"framework/demo.cpp|s/entry->start <= t \&\& t < entry->end/entry->start <= t \&\& t <= entry->end/|a scene is still drawn at its end time"
"framework/demo.cpp|s/Scene: Error: Allready at last scene!/Scene: Error: Already at last scene!/|changed message at the last scene"
"framework/demo.cpp|/void Demo::nextScene/,/^}/s/music.setPosition(start);/music.setPosition(start + 1);/|next scene lands 1 ms after the entry's start"
"framework/effects.cpp|s/GL_ONE, GL_ONE_MINUS_SRC_ALPHA}/GL_ONE, GL_ONE_MINUS_DST_ALPHA}/|wrong blend pair for ordinary alpha blending"
"framework/effects.cpp|s/static int currBlend = 4;/static int currBlend = 3;/|wrong start-up blend mode"
"framework/effects.cpp|s/flashAlpha -= 0.05;/flashAlpha -= 0.04;/|flash decays over 25 frames"
"framework/effects.cpp|s/if (offset <= 0.0f) offset = 1.0f;/if (offset < 0.0f) offset = 1.0f;/|parallax wraps one step late to the left"
"framework/effects.cpp|s/animationPosition > animationFrames.size()/animationPosition >= animationFrames.size()/|flip-book resets one frame early"
"framework/effects.cpp|s/teller3 = -p;/teller3 = -p * 0.5f;/|left-out slide only goes half way"
"framework/effects.cpp|/void Effects::parallaxScrolling/,/endBlended/s/glDisable(GL_BLEND);//|parallax leaves blending on"
"framework/effects.cpp|s/fadeAlpha = 1.0f - p;/fadeAlpha = 1.0f - p * 0.9f;/|fade-in never clears fully"
"framework/camera.cpp|s/width \* 0.5625/width * 0.5620/|16:9 letterbox one pixel short"
"framework/camera.cpp|s/zoom(\"Zoom in: \", 0.75f)/zoom(\"Zoom in: \", 0.8f)/|zoom in by the wrong factor"
"framework/input.cpp|s/seekStep = shift ? 10000 : 5000;/seekStep = shift ? 10000 : 4000;/|arrow keys seek 4 s instead of 5"
"framework/input.cpp|s/pressed(\"Space\")/pressed(\"space\")/|changed key message for Space"
"framework/texturemanager.cpp|/void Texturemanager::bindTexture(std::string name)$/,/^}/s/that does not exist!/that is missing!/|changed message for an unknown picture"
"framework/texturemanager.cpp|/glDeleteTextures(1, \&it->second);/d|a picture renamed on save keeps its memory"
"framework/demo.cpp|s/    saveNotice = oneLine(stage.warning);/    if (!stage.warning.empty()) saveNotice = oneLine(stage.warning);/|a refused save's message stays in the title after a good save"
"framework/demo.cpp|s/    timer.changePosition(static_cast<int>(position));/    timer.changePosition(0);/|Shift+Backspace starts the music again from 0"
"framework/demo.cpp|s/    if (!wasPaused) timer.pause(false);/    timer.pause(false);/|a save while paused resumes the music"
"framework/timer.cpp|s/(music.getPosition() \/ 10) % 100/(music.getPosition() \/ 100) % 100/|printed hundredths wrong"
"framework/demo.cpp|s/\" - FPS: \"/\" FPS: \"/|status line in the title loses a dash"
"framework/demo.cpp|s/\"Paused\" : \"Running\"/\"Paused\" : \"Running \"/|title after resuming reads wrong"
"framework/joystick.cpp|s/deadZone = 3200;/deadZone = 3000;/|game pad stick's dead zone too small"
"framework/texturemanager.cpp|s/bytes \/ 1000/bytes \/ 1024/|texture memory logged in the wrong unit"
"framework/music.cpp|s/if (target < 0) target = 0;/if (target < 0) target = 1;/|a seek before the start lands at 1 ms"
"framework/arguments.cpp|/-c set config file/d|help text loses a line"
"scenes/intro.cpp|s/within(38000, 44000)/within(38000, 43000)/|title card ends a second early"
"scenes/intro.cpp|s/translate = 0.08f;/translate = 0.07f;/|arm shake resets to the wrong offset"
"scenes/intro.cpp|s/within(32000, 33000)) shake/within(32000, 34000)) shake/|third shake runs a second long"
"scenes/intro.cpp|/picture(\"intro_hest.png\");/{n;d}|intro leaves blending on"
"scenes/guillotine.cpp|s/blad -= 0.002f;/blad -= 0.003f;/|blade falls too fast"
"scenes/guillotine.cpp|s/onBeat(62800, 1200)/onBeat(62800, 1000)/|head span too short"
"scenes/guillotine.cpp|/head -= 0.001f;/{n;d}|guillotine leaves blending on"
"scenes/credits.cpp|s/4000.0f, 10000.0f/4000.0f, 11000.0f/|credits scroll too slowly"
"scenes/credits.cpp|/texturemanager.unbind();/d|credits leave their picture bound"
"scenes/riderideranke.cpp|s/getPosition() \/ 150/getPosition() \/ 160/|rider bobs on the wrong step"
"scenes/riderideranke.cpp|s/textureAnimation(0.02f)/textureAnimation(0.025f)/|rider frames change too fast"
"scenes/solardistrict.cpp|/glEnable(GL_LIGHT0);/d|district leaves light 0 off"
"scenes/solardistrict.cpp|s/view = 3;/view = 0;/|district starts at the wrong camera preset"
"scenes/solardistrict.cpp|s/gluLookAt(10, 20.2, 10,/gluLookAt(10, 2.2, 10,/|district high camera preset looks from the wrong height"
"scenes/solardistrict.cpp|s/k % 1100 == 0/k % 1000 == 0/|district switches view at the wrong time"
"scenes/solardistrict.cpp|s/glColorMaterial(GL_FRONT, GL_AMBIENT);/glColorMaterial(GL_FRONT, GL_DIFFUSE);/|district colour material on the wrong term"
"capture/frames.cpp|s/from + static_cast<int>(k \* 1000 \/ fps)/from + static_cast<int>(k * (1000 \/ fps))/|pictures drift behind the music: each frame lasts whole milliseconds"
"capture/encoder.cpp|s/videoCodec->time_base = AVRational{1, options.fps};/videoCodec->time_base = AVRational{1001, options.fps * 1000};/|pictures drift behind the sound: frames stamped at 1000/1001 of the rate"
"capture/soundtrack.cpp|s/next = msToFrame(from, info.samplerate);/next = msToFrame(from + 5, info.samplerate);/|sound 5 ms early: the span read from 5 ms on"
"capture/encoder.cpp|s/sound->pts = samplesOut;/sound->pts = samplesOut + 240;/|sound 5 ms late in the file"
"capture/encoder.cpp|s/AV_SAMPLE_FMT_FLT, sampleRate, 0, nullptr)/AV_SAMPLE_FMT_FLT, audioCodec->sample_rate, 0, nullptr)/|the track taken at the output's sample rate"
"capture/encoder.cpp|s/audioCodec->sample_rate = layout.resampled ? VIDEO_SOUND_RATE : sampleRate;/audioCodec->sample_rate = layout.resampled ? 44100 : sampleRate;/|the video's sound at 44.1 kHz"
"capture/options.cpp|s/bool even = options.width % 2 == 0 \&\& options.height % 2 == 0;/bool even = true;/|an odd size accepted"
"capture/encoder.cpp|s/\"ffv1\", AV_PIX_FMT_BGR0/\"ffv1\", AV_PIX_FMT_YUV444P/|the master converted to YUV"
"capture/options.cpp|s/bool even = options.width % 2 == 0 \&\& options.height % 2 == 0;/bool even = options.width % 2 == 0;/|an odd height accepted"
"capture/encoder.cpp|s/\"flac\", AV_SAMPLE_FMT_S32, false}/\"flac\", AV_SAMPLE_FMT_S16, false}/|the lossless master's sound cut to 16 bits"
"capture/encoder.cpp|s/    folding = layout.resampled \&\& channels > 2;/    folding = false;/|the video mixes a track of many channels its own way, not as the showing plays it"
"capture/encoder.cpp|s/picture->pict_type = key ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;/picture->pict_type = AV_PICTURE_TYPE_NONE;/|no keyframe at a change of the schedule"
"capture/frames.cpp|s/long long j = 0;/long long j = 1;/|the unseen frames before a late start one short"
"capture/failure.cpp|/onFatal(removePartial);/d|an engine error leaves the temporary file"
"capture/output.cpp|/if (!S_ISREG(status.st_mode))/d|a pipe named as the output is replaced by a file"
"capture/failure.cpp|s/sigaction(signal, \&crash, nullptr);/(void)signal;/|a crash leaves the temporary file"
)

result=$tree/faults-result.txt
: > "$result"
touch "$tree"/framework/*.cpp "$tree"/scenes/*.cpp "$tree"/capture/*.cpp  # no object left over from an earlier run
caught=0
missed=0
for i in "${!faults[@]}"; do
    n=$((i + 1))
    [ "$only" = "  " ] || [[ "$only" == *" $n "* ]] || continue
    IFS='|' read -r file expression what <<< "${faults[$i]}"
    cp "$tree/$file" "$tree/$file.orig"
    sed -i "$expression" "$tree/$file"
    if cmp -s "$tree/$file" "$tree/$file.orig"; then
        verdict="NOT APPLIED"
    elif ! cmake --build "$build" -j2 --target ${FAULT_TARGETS:-all} > "$build/fault-$n-build.log" 2>&1; then
        verdict="NOT BUILT"
    elif (cd "$build" && bash "$tree/scripts/with-display.sh" ctest -j2 -E '^(Generator|Pictures|Soundtrack)\.|^contenttests' ${FAULT_TESTS:+-R "$FAULT_TESTS"} --stop-on-failure \
            > "fault-$n-ctest.log" 2>&1); then
        verdict=missed
        missed=$((missed + 1))
    else
        verdict=caught
        caught=$((caught + 1))
    fi
    mv "$tree/$file.orig" "$tree/$file"
    touch "$tree/$file"  # newer than the faulty object, so the next build puts the original back
    failed=$(sed -n 's/^[[:space:]]*[0-9]* - \([^ ]*\) (.*/\1/p' "$build/fault-$n-ctest.log" 2>/dev/null | tr '\n' ' ')
    printf '%2d %-8s %s: %s%s\n' "$n" "$verdict" "$file" "$what" "${failed:+ [by $failed]}" | tee -a "$result"
done
touch "$tree"/framework/*.cpp "$tree"/scenes/*.cpp "$tree"/capture/*.cpp
cmake --build "$build" -j2 --target ${FAULT_TARGETS:-all} > /dev/null 2>&1
echo "caught $caught, missed $missed" | tee -a "$result"

// Progress: the rate is the average since the first frame, which the mix of cheap and costly
// scenes makes the honest base for the time left.
#include "capture/progress.h"

#include <unistd.h>

#include <cstdio>

// Seconds between reports: a terminal line can move often, a log line should not
static const double TERMINAL_EVERY = 0.25, PLAIN_EVERY = 5.0;

static double seconds(std::chrono::steady_clock::duration span) { return std::chrono::duration<double>(span).count(); }

Progress::Progress(long long total)
    : total(total), done(0), bytes(0), terminal(isatty(STDERR_FILENO)), start(std::chrono::steady_clock::now()),
      shown(start)
{
}

void Progress::update(long long frames, long long written)
{
    done = frames;
    bytes = written;
    auto now = std::chrono::steady_clock::now();
    if (seconds(now - shown) < (terminal ? TERMINAL_EVERY : PLAIN_EVERY)) return;
    shown = now;
    show();
}

void Progress::finish()
{
    show();
    if (terminal) fprintf(stderr, "\n");
}

void Progress::show()
{
    double elapsed = seconds(std::chrono::steady_clock::now() - start);
    double rate = elapsed > 0 ? done / elapsed : 0;
    long long left = rate > 0 ? static_cast<long long>((total - done) / rate + 0.5) : 0;
    // The trailing spaces wipe what a longer earlier line left on a terminal.
    fprintf(stderr, "%scapture: %lld/%lld frames (%d%%), %.1f fps, %lld:%02lld left, %.1f MB%s", terminal ? "\r" : "",
            done, total, static_cast<int>(total ? done * 100 / total : 100), rate, left / 60, left % 60, bytes / 1e6,
            terminal ? "   " : "\n");
    fflush(stderr);
}

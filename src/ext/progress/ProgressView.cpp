// SPDX-License-Identifier: MIT
#include <qz/ext/ProgressView.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <qz/ext/PrintableText.h>

#include "ProgressText.h"

#include "base/QuietWrite.h"

namespace qz::ext {

namespace {

constexpr int kPeriodMs = 100;
constexpr int kPercentStep = 10;
constexpr int kUsualColumns = 80;  // of a terminal that doesn't report its width
constexpr int kMostColumns = 1000;

long getSteadyMs()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

int getColumns(int descriptor)
{
    winsize size = {};
    if (::ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kUsualColumns;
    return std::min<int>(size.ws_col, kMostColumns);
}

// Without an infinity or NaN, which come from a caller's weights.
double limitToRange(float progress)
{
    return progress > 0 ? std::min(static_cast<double>(progress), 1.0) : 0;
}

// The work that reports its progress must not notice how that is shown.
template <typename Show>
void showQuietly(const Show& show)
{
    const int savedErrno = errno;
    try {
        show();
    } catch (const std::bad_alloc&) {
        // This text is left out.
    }
    errno = savedErrno;
}

}  // namespace

// The output, and what is on it.
struct ProgressView::Display {
    Display(const ProgressViewOptions& options, Clock clockMs)
        : descriptor(options.descriptor),
          isTerminal(::isatty(descriptor) == 1),
          isEnabled(!options.isQuiet),
          clock(std::move(clockMs))
    {
        figures.title = makePrintable(options.title);
        figures.unit = makePrintable(options.unit);
        figures.total = options.total;
        restart();
    }

    void restart()
    {
        startMs = clock();
        lastPercent = 0;
    }

    void show(double progress, const ProgressView& view)
    {
        if (!isEnabled) return;
        figures.progress = progress;
        const long nowMs = clock();
        figures.elapsedMs = nowMs - startMs;
        if (isTerminal)
            showLine(nowMs, view);
        else
            report(view);
    }

    void showLine(long nowMs, const ProgressView& view)
    {
        // A clock that was set back must not stop the view until it is there again.
        const bool isShown = lastShownMs && nowMs >= *lastShownMs;
        if (isShown && nowMs - *lastShownMs < kPeriodMs) return;
        if (view.shouldCancel()) return clearLine();
        lastShownMs = nowMs;
        const int columns = getColumns(descriptor);
        if (!isReady()) return;
        write('\r' + formatProgressLine(figures, columns));
        shownColumns = columns - 1;
    }

    void report(const ProgressView& view)
    {
        const int percent = toPercent(figures.progress) / kPercentStep * kPercentStep;
        if (percent <= lastPercent || view.shouldCancel()) return;
        lastPercent = percent;
        if (isReady()) write(formatProgressReport(figures) + '\n');
    }

    void clearLine()
    {
        if (shownColumns == 0 || !isReady(kPeriodMs)) return;
        // If the terminal is narrower now, more blanks would begin a new line.
        const int columns = std::min(shownColumns, getColumns(descriptor) - 1);
        write('\r' + std::string(static_cast<std::size_t>(columns), ' ') + '\r');
        shownColumns = 0;
    }

    // Whether the output takes a text without waiting for its reader. The work may hold locks, and
    // nobody may ever press Ctrl-Q. A broken output counts as ready: its `write` fails at once.
    bool isReady(int waitMs = 0) const
    {
        pollfd output = {descriptor, POLLOUT, 0};
        int count = 0;
        do {
            count = ::poll(&output, 1, waitMs);
            waitMs = 0;
        } while (count < 0 && errno == EINTR);
        return count != 0;
    }

    void write(std::string_view text)
    {
        if (::getpid() != process) return;
        while (isEnabled && !text.empty()) {
            const ssize_t count = writeQuietly(descriptor, text);
            if (count > 0) {
                text.remove_prefix(static_cast<std::size_t>(count));
            } else if (count < 0 && errno == EAGAIN) {
                break;  // an output that doesn't wait for its reader misses a line
            } else if (count == 0 || errno != EINTR) {
                isEnabled = false;
            }
        }
    }

    const pid_t process = ::getpid();  // a forked child must not clear the line of its parent
    const int descriptor;
    const bool isTerminal;
    bool isEnabled;
    const Clock clock;
    ProgressFigures figures;
    long startMs = 0;
    int lastPercent = 0;              // of the last report
    std::optional<long> lastShownMs;  // when the terminal's line was written
    int shownColumns = 0;             // 0 while there is no line
};

ProgressView::ProgressView(const ProgressViewOptions& options,
                           const qzCancelInterfaceReadOnly* externalCancel)
    : ProgressView(options, externalCancel, &getSteadyMs)
{
}

ProgressView::ProgressView(const ProgressViewOptions& options,
                           const qzCancelInterfaceReadOnly* externalCancel, Clock clock)
    : qzProgressNotifierBase(/*externalFlag=*/nullptr, externalCancel),
      mDisplay(std::make_unique<Display>(options, std::move(clock)))
{
    // The constructor of the base can't reach this class.
    ProgressView::onProgressChanged(getGlobalProgress());
}

ProgressView::~ProgressView()
{
    clearLine();
}

void ProgressView::resetNotifier()
{
    mDisplay->restart();
    qzProgressNotifierBase::resetNotifier();
}

void ProgressView::clearLine()
{
    showQuietly([&] { mDisplay->clearLine(); });
}

void ProgressView::onProgressChanged(float progress)
{
    showQuietly([&] { mDisplay->show(limitToRange(progress), *this); });
}

}  // namespace qz::ext

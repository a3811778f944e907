// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <qz/qzExport.h>
#include <qz/qzProgressNotifier.h>

namespace qz::ext {

/// What a `ProgressView` shows, and where.
struct ProgressViewOptions {
    /// The name of the work, in UTF-8; may be empty. Control characters are shown as "?".
    std::string title = {};
    /// What the work consists of, as it follows a number, for example "B" or " files"; UTF-8.
    std::string unit = {};
    /// How many units the whole work has. If it isn't finite and above 0, the rate is in percent.
    double total = 0;
    /// Whether nothing is shown at all.
    bool isQuiet = false;
    /// The descriptor that it writes to, which stays open as long as the view exists; the standard
    /// error stream by default, so that the output of a program can be redirected.
    int descriptor = 2;
};

/// Shows people how far a work is, how fast it goes and how long it may still take.
///
/// On a terminal it is one line, at most ten times a second, as wide as the terminal is then:
///
///     digest [==============>                   ]  45%   12.3k files/s    1m 3s left
///
/// Its end clears the line. If the output is no terminal, it writes one line for each ten percent.
/// Once a stop is requested, it shows nothing more. An output that fails ends the view, not the
/// work: no call reports an error or raises SIGPIPE. If nobody reads the output (a terminal that is
/// stopped by Ctrl-S, a full pipe), an update is left out, and the work continues. Only an output
/// that fills up during a `write` makes it wait, unless the descriptor has O_NONBLOCK. Rate and
/// time are averages since the start. In a forked child it shows nothing.
///
/// @code
/// qz::ext::ProgressViewOptions options;
/// options.title = "digest";
/// options.unit = " files";
/// options.total = static_cast<double>(files.size());
/// qz::ext::ProgressView view(options, &cancel);
/// digestAll(files, view);
/// @endcode
///
/// The library must be started. Threads: as for the base, one at a time; several use a
/// `qzProgressNotifierThreadSafeProxy` on it. `cancel` and `shouldCancel` from any.
class QZ_API ProgressView : public qzProgressNotifierBase {
public:
    /// Shows an empty bar at once, if the output is a terminal.
    /// @param externalCancel requests to stop from outside; not owned, may be null.
    explicit ProgressView(const ProgressViewOptions& options,
                          const qzCancelInterfaceReadOnly* externalCancel = nullptr);
    /// Clears the line. For a stopped terminal it waits 100 ms at most, and then leaves the line.
    ~ProgressView() override;

    /// Also starts the measurement of time anew.
    void resetNotifier() override;

    /// Clears the line, for a program that writes to the terminal itself. A later update shows it
    /// again.
    void clearLine();

protected:
    void onProgressChanged(float progress) override;

private:
    friend class ProgressViewTestPeer;
    struct QZ_LOCAL Display;
    using Clock = std::function<long()>;  // milliseconds

    QZ_LOCAL ProgressView(const ProgressViewOptions& options,
                          const qzCancelInterfaceReadOnly* externalCancel, Clock clock);

    std::unique_ptr<Display> mDisplay;
};

}  // namespace qz::ext

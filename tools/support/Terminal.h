#pragma once

// What the user sees while long work runs: a progress bar on a terminal, nothing otherwise; and
// Ctrl-C, which asks the running work to stop.

#include <cstdint>
#include <string>

namespace VorncastTool {

// Installs a SIGINT handler that records the interruption instead of ending the process, so that
// the library's abort callback can end a load cleanly. A second Ctrl-C ends the process at once.
void CatchInterrupts();
bool Interrupted();
// The abort callback for the library: nonzero once Ctrl-C was pressed.
int AbortRequested();

// A load whose progress has not moved for this long is ended: the library repeats one read
// without end on files it cannot index (an AVI without a usable index) until the host aborts.
constexpr double StalledLoadSeconds = 4.0;
// The abort callback for loads: nonzero once Ctrl-C was pressed, or once the load's progress has
// stood still for StalledLoadSeconds. StartLoadWatch begins the watch of a load.
int AbortLoadRequested();
void StartLoadWatch();
// True when the watch ended the last load.
bool LoadStalled();

// A one-line bar on standard error, drawn only when standard error is a terminal.
class ProgressBar {
public:
    explicit ProgressBar(std::string label);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    // `fraction` from 0 to 1; redrawn only when the shown value changes.
    void Show(double fraction);
    void Step(int64_t done, int64_t total);
    // Clears the bar's line.
    void Finish();

private:
    std::string label;
    bool enabled;
    int shownPermille = -1;
};

// The bar that the library's load progress callback drives while a load runs; null when none.
void SetLoadProgressBar(ProgressBar* bar);
void ReportLoadProgress(double fraction);

} // namespace VorncastTool

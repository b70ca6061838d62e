#include "support/Terminal.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace VorncastTool {

namespace {

volatile std::sig_atomic_t interruptCount = 0;
ProgressBar* loadProgressBar = nullptr;

// The watch of the running load: its last progress and when it last moved.
struct LoadWatch {
    double fraction = -1.0;
    std::chrono::steady_clock::time_point moved = std::chrono::steady_clock::now();
    bool stalled = false;
};
LoadWatch loadWatch;

void OnInterrupt(int) {
    interruptCount = interruptCount + 1;
    if (interruptCount > 1) {
        std::signal(SIGINT, SIG_DFL);
        std::raise(SIGINT);
    }
}

constexpr int BarWidth = 40;

} // namespace

void CatchInterrupts() {
    std::signal(SIGINT, OnInterrupt);
}

bool Interrupted() {
    return interruptCount != 0;
}

int AbortRequested() {
    return Interrupted() ? 1 : 0;
}

void StartLoadWatch() {
    loadWatch = LoadWatch{};
}

int AbortLoadRequested() {
    const std::chrono::duration<double> still = std::chrono::steady_clock::now() - loadWatch.moved;
    if (still.count() >= StalledLoadSeconds) {
        loadWatch.stalled = true;
    }
    return Interrupted() || loadWatch.stalled ? 1 : 0;
}

bool LoadStalled() {
    return loadWatch.stalled;
}

ProgressBar::ProgressBar(std::string label) : label(std::move(label)), enabled(isatty(STDERR_FILENO) == 1) {}

ProgressBar::~ProgressBar() {
    Finish();
}

void ProgressBar::Show(double fraction) {
    if (!enabled) {
        return;
    }
    const int permille = static_cast<int>(std::clamp(fraction, 0.0, 1.0) * 1000);
    if (permille == shownPermille) {
        return;
    }
    shownPermille = permille;
    const int filled = permille * BarWidth / 1000;
    std::string bar(static_cast<size_t>(filled), '#');
    bar.append(static_cast<size_t>(BarWidth - filled), '.');
    std::fprintf(stderr, "\r%s [%s] %5.1f%%", label.c_str(), bar.c_str(), permille / 10.0);
    std::fflush(stderr);
}

void ProgressBar::Step(int64_t done, int64_t total) {
    Show(total > 0 ? static_cast<double>(done) / static_cast<double>(total) : 1.0);
}

void ProgressBar::Finish() {
    if (enabled && shownPermille >= 0) {
        std::fprintf(stderr, "\r\033[K");
        std::fflush(stderr);
    }
    shownPermille = -1;
}

void SetLoadProgressBar(ProgressBar* bar) {
    loadProgressBar = bar;
}

void ReportLoadProgress(double fraction) {
    if (fraction != loadWatch.fraction) {
        loadWatch.fraction = fraction;
        loadWatch.moved = std::chrono::steady_clock::now();
    }
    if (loadProgressBar != nullptr) {
        loadProgressBar->Show(fraction);
    }
}

} // namespace VorncastTool

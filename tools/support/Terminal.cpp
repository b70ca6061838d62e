#include "support/Terminal.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace VorncastTool {

namespace {

volatile std::sig_atomic_t interruptCount = 0;
ProgressBar* loadProgressBar = nullptr;

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
    if (loadProgressBar != nullptr) {
        loadProgressBar->Show(fraction);
    }
}

} // namespace VorncastTool

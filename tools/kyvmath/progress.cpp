#include "progress.h"

#include <algorithm>
#include <cstdio>
#include <mutex>

namespace kyv::host {
namespace {

std::string clock_text(double seconds) {
  const auto whole = static_cast<long long>(seconds + 0.5);
  char text[32];
  if (whole >= 3600) {
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60, whole % 60);
  } else {
    std::snprintf(text, sizeof text, "%lld:%02lld", whole / 60, whole % 60);
  }
  return text;
}

}  // namespace

Progress::Progress(int total)
    : start_(std::chrono::steady_clock::now()),
      total_(total),
      bar_(total > 1 && platform::is_terminal(platform::Stream::kError)) {
  if (bar_) draw();
}

Progress::~Progress() {
  if (bar_) erase();
}

void Progress::finish_one(const std::string& line, bool failed) {
  const std::lock_guard lock(mutex_);
  ++done_;
  if (bar_) erase();
  if (!line.empty()) {
    std::FILE* const stream = failed ? stderr : stdout;
    std::fprintf(stream, "%s\n", line.c_str());
    std::fflush(stream);
  }
  if (bar_) draw();
}

void Progress::draw() {
  const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  char figures[96];
  if (done_ == 0) {
    std::snprintf(figures, sizeof figures, " 0/%d", total_);
  } else {
    std::snprintf(figures, sizeof figures, " %d/%d  %.1f files/s  %s left", done_, total_, done_ / elapsed,
                  clock_text(elapsed / done_ * (total_ - done_)).c_str());
  }
  const int room =
      platform::terminal_width(platform::Stream::kError) - 4 - static_cast<int>(std::string(figures).size());
  const int cells = std::clamp(room, 10, 40);
  const int filled = static_cast<int>(static_cast<long long>(cells) * done_ / total_);
  const std::string bar = std::string(static_cast<std::size_t>(filled), '#') +
                          std::string(static_cast<std::size_t>(cells - filled), '.');
  std::fprintf(stderr, "[%s]%s", bar.c_str(), figures);
  std::fflush(stderr);
}

void Progress::erase() {
  const int width = platform::terminal_width(platform::Stream::kError) - 1;
  std::fprintf(stderr, "\r%*s\r", std::max(width, 0), "");
}

}  // namespace kyv::host

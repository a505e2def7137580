#include <csignal>

extern "C" void __gcov_dump();

namespace {

/// An abort ends the process without the counts of what it has run; this saves them first.
void dumpCoverage(int signal) {
  __gcov_dump();
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

const auto previousHandler = std::signal(SIGABRT, dumpCoverage);

}  // namespace

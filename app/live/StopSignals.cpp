#include "app/live/StopSignals.hpp"

#include <unistd.h>
#ifdef __linux__
#include <sys/signalfd.h>
#endif

namespace kestrin::app::live {

namespace {

// Set by SIGTERM and SIGINT; the service's loop checks it between waits.
volatile std::sig_atomic_t stopRequested = 0;

extern "C" void requestStop(int) { stopRequested = 1; }

void installStopHandlers() {
  struct sigaction action {};
  action.sa_handler = requestStop;
  sigemptyset(&action.sa_mask);
  action.sa_flags = 0;  // no SA_RESTART: a signal ends the wait for the next tick
  ::sigaction(SIGTERM, &action, nullptr);
  ::sigaction(SIGINT, &action, nullptr);
}

}  // namespace

const volatile std::sig_atomic_t& catchStopSignals(std::vector<WakeSource>& sources) {
#ifdef __linux__
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGTERM);
  sigaddset(&stopSignals, SIGINT);
  if (::sigprocmask(SIG_BLOCK, &stopSignals, nullptr) == 0) {
    const int fd = ::signalfd(-1, &stopSignals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (fd >= 0) {
      sources.push_back({fd, {}, [fd] {
                           signalfd_siginfo info{};
                           while (::read(fd, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
                           }
                           stopRequested = 1;
                           return false;
                         }});
      return stopRequested;
    }
    ::sigprocmask(SIG_UNBLOCK, &stopSignals, nullptr);
  }
#endif
  (void)sources;
  installStopHandlers();
  return stopRequested;
}

}  // namespace kestrin::app::live

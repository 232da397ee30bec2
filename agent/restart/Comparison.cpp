#include "agent/restart/Comparison.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>

#include "agent/desired/StateReading.h"

namespace LagAgent {

namespace {

/// Makes the descriptor readable at the end of its scope.
class Signal {
  public:
    explicit Signal(int done) : done_(done) {}
    ~Signal() { ::eventfd_write(done_, 1); }
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;

  private:
    int done_;
};

Pello::FileDescriptor newEvent() {
    Pello::FileDescriptor event(::eventfd(0, EFD_CLOEXEC));
    if (!event) {
        throw std::system_error(errno, std::generic_category(), "cannot begin to compare");
    }
    return event;
}

} // namespace

Comparison::Comparison(Situation situation, SqliteConnection desired)
    : done_(newEvent()), audit_(std::async(std::launch::async, [situation = std::move(situation),
                                                                desired = std::move(desired),
                                                                done = done_.get()]() mutable {
          const Signal signal(done);
          situation.desired = readDesiredState(desired);
          return audit(std::move(situation));
      })) {}

} // namespace LagAgent

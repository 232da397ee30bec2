#pragma once

#include <future>

#include "agent/desired/Sqlite.h"
#include "agent/restart/Audit.h"
#include "platform/Pello/FileDescriptor.h"

namespace LagAgent {

/// An audit in a thread of its own, over copies that nobody else has.
class Comparison {
  public:
    /// Begins. The situation has its desired state in `desired`, a copy of the database, and not in
    /// itself. Throws `std::system_error` when there is no descriptor or thread for it.
    Comparison(Situation situation, SqliteConnection desired);

    /// Can be read when the result is there.
    int done() const noexcept { return done_.get(); }
    /// Waits for it, as the destructor does where nobody has. Throws what the comparison threw.
    Audit result() { return audit_.get(); }

  private:
    Pello::FileDescriptor done_;
    std::future<Audit> audit_; // goes first
};

} // namespace LagAgent

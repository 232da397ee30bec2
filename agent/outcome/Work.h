#pragma once

namespace LagAgent {

class Reply;

/// What a command has still to do when it has begun: a little at a time, so that other clients have
/// their turns between. It changes nothing, and may be given up at any moment.
class Work {
  public:
    Work() = default;
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;
    virtual ~Work() = default;

    /// Does a little more, and waits for what it needs for that. True when it was the last, and the
    /// reply is complete. Throws what the command fails with.
    virtual bool goOn(Reply& reply) = 0;

    /// A descriptor that can be read when there is something to go on with, so that nobody has to
    /// wait; negative: there is.
    virtual int waitsFor() const { return -1; }
};

} // namespace LagAgent

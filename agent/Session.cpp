#include "agent/Session.h"

namespace LagAgent {

bool Session::runLine(std::string_view line, const Place& place) {
    const Outcome outcome = interpreter_.run(line);
    presenter_.show(outcome, place);
    return !outcome.error;
}

bool Session::end(const Place& place) {
    const auto error = interpreter_.atEnd();
    if (error) {
        presenter_.show(*error, place);
    }
    return !error;
}

bool Session::runBatch(std::istream& in, const std::string& name, bool isForced) {
    bool isGood = true;
    Place place{name, 0};
    for (std::string line;
         (isGood || isForced) && !interpreter_.isOver() && std::getline(in, line);) {
        ++place.line;
        isGood = runLine(line, place) && isGood;
    }
    if (in.bad()) {
        presenter_.show(Error{ErrorKind::start, "cannot be read"}, {name, 0});
        return false;
    }
    return end(place) && isGood;
}

} // namespace LagAgent

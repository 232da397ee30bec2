#pragma once

namespace LagAgent {

class Arguments;
struct ScriptState;
struct View;

/// The handlers of the 'expect' commands, with which a script checks itself. Each throws
/// `CommandError` (expectation) that says what there is instead.
namespace Expect {

void error(ScriptState& script, const Arguments& arguments);
void objects(const View& view, const Arguments& arguments);
void asicObjects(const View& view, const Arguments& arguments);
void asicEmpty(const View& view, const Arguments& arguments);
void calls(const View& view, const Arguments& arguments);
void operationCalls(const View& view, const Arguments& arguments);
void portShare(const View& view, const Arguments& arguments);
void onlyPort(const View& view, const Arguments& arguments);
void lost(const View& view, const Arguments& arguments);
void moved(const View& view, const Arguments& arguments);
void movedPort(const View& view, const Arguments& arguments);

} // namespace Expect

} // namespace LagAgent

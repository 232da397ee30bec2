#pragma once

namespace LagAgent {

class Agent;
class Arguments;
class Reply;

/// The handlers of the 'expect' commands, with which a script checks itself. Each throws
/// `CommandError` (expectation) that says what there is instead.
namespace Expect {

void error(Agent& agent, const Arguments& arguments, Reply& reply);
void objects(Agent& agent, const Arguments& arguments, Reply& reply);
void asicObjects(Agent& agent, const Arguments& arguments, Reply& reply);
void asicEmpty(Agent& agent, const Arguments& arguments, Reply& reply);
void calls(Agent& agent, const Arguments& arguments, Reply& reply);
void operationCalls(Agent& agent, const Arguments& arguments, Reply& reply);
void portShare(Agent& agent, const Arguments& arguments, Reply& reply);
void onlyPort(Agent& agent, const Arguments& arguments, Reply& reply);
void lost(Agent& agent, const Arguments& arguments, Reply& reply);
void moved(Agent& agent, const Arguments& arguments, Reply& reply);
void movedPort(Agent& agent, const Arguments& arguments, Reply& reply);

} // namespace Expect

} // namespace LagAgent

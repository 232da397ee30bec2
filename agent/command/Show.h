#pragma once

#include <string_view>

namespace LagAgent {

class Agent;
class Reply;

/// One section of what there is to see, by the name that `show` takes.
void show(Agent& agent, std::string_view section, Reply& reply);

} // namespace LagAgent

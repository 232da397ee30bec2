#pragma once

#include <string_view>

namespace LagAgent {

class Reply;
struct View;

/// One section of what there is to see, by the name that `show` takes.
void show(const View& view, std::string_view section, Reply& reply);

} // namespace LagAgent

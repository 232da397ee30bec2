#pragma once

#include <span>

#include "agent/command/Grammar.h"

namespace LagAgent {

/// The command language: one row a command.
std::span<const Command> commandTable();

/// The grammar of the language.
const Grammar& commandGrammar();

} // namespace LagAgent

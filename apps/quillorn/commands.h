// Sub-commands of the `quillorn` program; each file registers its own.
#pragma once

#include <CLI/CLI.hpp>

namespace quillorn::apps {

void RegisterSimCommands(CLI::App& app);   // sim ...
void RegisterSimRunCommand(CLI::App& sim);  // sim run (called by RegisterSimCommands)
void RegisterWireCommands(CLI::App& app);  // wire decode|encode|crypt
void RegisterRpcCommand(CLI::App& app);    // rpc
void RegisterWireCryptCommand(CLI::App& wire);  // wire crypt (called by RegisterWireCommands)

}  // namespace quillorn::apps

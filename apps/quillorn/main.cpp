// `quillorn`: the desktop simulator and the support engineer's diagnostics.
#include <iostream>

#include "apps/quillorn/commands.h"
#include "foundation/version.h"

int main(int argc, char** argv) {
  CLI::App app{"quillorn: desktop simulator and diagnostics of the Quillorn Office client"};
  app.require_subcommand(0, 1);
  bool show_version = false;
  app.add_flag("--version", show_version, "print the program's name and version");
  quillorn::apps::RegisterSimCommands(app);
  quillorn::apps::RegisterWireCommands(app);
  quillorn::apps::RegisterRpcCommand(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e);
  }
  if (show_version) {
    std::cout << "quillorn " << quillorn::foundation::GetVersionString("") << "\n";
    return 0;
  }
  if (app.get_subcommands().empty()) {
    std::cout << app.help();
  }
  return 0;
}

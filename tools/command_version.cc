// `deflash version`: the library's version text.
#include <cstdio>

#include "commands.h"
#include "deflash.h"

namespace deflash_cli {

void add_version_command(CLI::App& app, int& exit_code) {
  CLI::App* command = app.add_subcommand("version", "Print the library version");
  command->callback([&exit_code] {
    std::printf("%s\n", soc_driver_helper_get_version());
    exit_code = kExitOk;
  });
}

}  // namespace deflash_cli

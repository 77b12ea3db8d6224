/// The program's commands. Each adds itself to the command line, and is what runs when it is named.
#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace cri_monitor {

/// What the command line asks for.
/// @return an ExitCode
using Command = std::function<int()>;

void AddStatus(CLI::App& app, Command& chosen);
void AddWatch(CLI::App& app, Command& chosen);
void AddControl(CLI::App& app, Command& chosen);
void AddDraw(CLI::App& app, Command& chosen);

}  // namespace cri_monitor

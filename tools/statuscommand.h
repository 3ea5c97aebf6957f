// krctl status: the run that goes on, or the newest one on record.

#pragma once

namespace CLI {
class App;
}

void AddStatusCommand(CLI::App& app);

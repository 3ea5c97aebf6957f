// krctl status: the run in progress, or the last one on record.

#pragma once

namespace CLI {
class App;
}

void AddStatusCommand(CLI::App& app);

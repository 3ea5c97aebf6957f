// krctl run: starts krindexer, shows how it gets on, tells how it ended.

#pragma once

namespace CLI {
class App;
}

void AddRunCommand(CLI::App& app);

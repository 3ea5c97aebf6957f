// krctl report: the newest run as a page to look at, keep or send.

#pragma once

namespace CLI {
class App;
}

void AddReportCommand(CLI::App& app);

// krctl metrics: the newest run that ended, for Prometheus.

#pragma once

namespace CLI {
class App;
}

void AddMetricsCommand(CLI::App& app);

// The helper process in which the MQTT library works.

#pragma once

#include "recorder/settings/settings.h"
#include "recorder/support/helperprocess.h"

namespace recorder {

// Forks a helper process that connects and then serves the requests of brokerprotocol.h until its
// socket is closed. It is killed when this process ends. Throws Error.
[[nodiscard]] HelperProcess StartBrokerProcess(const BrokerSettings& settings);

} // namespace recorder

// The process in which the MQTT library works.

#pragma once

#include "recorder/settings/settings.h"
#include "recorder/support/helperprocess.h"

namespace recorder {

// Forks a process that connects and then does what the messages of brokerprotocol.h ask for, until
// its socket is closed. It ends with this one. Throws Error.
[[nodiscard]] HelperProcess StartBrokerProcess(const BrokerSettings& settings);

} // namespace recorder

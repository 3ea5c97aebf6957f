#include "recorder/notification/broker.h"

#include "recorder/module/module.h"

namespace recorder {

std::unique_ptr<Broker> ConnectBroker(const BrokerSettings& settings) {
    static auto* const connect = ModuleFunction<ConnectBrokerFunction>(kMqttModule);
    return std::unique_ptr<Broker>(connect(settings));
}

} // namespace recorder

// The function of the module "mqtt".

#include "recorder/notification/mosquittobroker.h"

// NOLINTNEXTLINE(readability-identifier-naming): a name for the loader, as C has it
extern "C" recorder::ConnectBrokerFunction kestora_module_entry;

// NOLINTNEXTLINE(readability-identifier-naming): a name for the loader, as C has it
recorder::Broker* kestora_module_entry(const recorder::BrokerSettings& settings) {
    return std::make_unique<recorder::MosquittoBroker>(settings).release();
}

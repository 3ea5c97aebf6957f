// The function of the module "mqtt".

#include "recorder/notification/mosquittobroker.h"

extern "C" recorder::ConnectBrokerFunction KestoraModuleEntry;

recorder::Broker* KestoraModuleEntry(const recorder::BrokerSettings& settings) {
    return std::make_unique<recorder::MosquittoBroker>(settings).release();
}

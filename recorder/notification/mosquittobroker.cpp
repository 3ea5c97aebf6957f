#include "recorder/notification/mosquittobroker.h"

#include "recorder/support/textfile.h"

#include <system_error>
#include <utility>

#include <mosquitto.h>
#include <unistd.h>

namespace recorder {

namespace {

constexpr const char* kSystemCertificates = "/etc/ssl/certs";
constexpr int kAtLeastOnce = 1; // quality of service

// Longer than every time-out, so that the settings alone limit the wait for a silent broker. Short
// enough for brokers that have a limit.
constexpr int kKeepaliveS = 1200;

// The longest wait for input in one round.
constexpr int kLoopMs = 60000;

const char* OrNull(const std::optional<std::string>& text) {
    return text ? text->c_str() : nullptr;
}

// Removes full stops and line ends, which only some of libmosquitto's texts have.
std::string Plain(std::string text) {
    while (text.ends_with('.') || text.ends_with('\n')) {
        text.pop_back();
    }
    return text;
}

void StartLibrary() {
    [[maybe_unused]] static const int started = mosquitto_lib_init();
}

} // namespace

// The callbacks of libmosquitto. All are called within mosquitto_loop or the current operation.
struct MosquittoBroker::Events {
    static void Answered(mosquitto* /*client*/, void* broker, int answer) {
        static_cast<MosquittoBroker*>(broker)->m_answer = answer;
    }

    static void Acknowledged(mosquitto* /*client*/, void* broker, int message) {
        static_cast<MosquittoBroker*>(broker)->m_acknowledged.insert(message);
    }

    static void Said(mosquitto* /*client*/, void* broker, int level, const char* text) {
        if ((level & (MOSQ_LOG_ERR | MOSQ_LOG_WARNING)) != 0) {
            std::string& complaints = static_cast<MosquittoBroker*>(broker)->m_complaints;
            complaints += (complaints.empty() ? "" : "; ") + Plain(text);
        }
    }
};

MosquittoBroker::MosquittoBroker(const BrokerSettings& settings)
    : m_name("broker " + settings.host + ":" + std::to_string(settings.port)),
      m_settings(settings) {
    StartLibrary();
    // From here on the process ignores SIGPIPE, which is set by libmosquitto.
    m_client.reset(mosquitto_new(OrNull(settings.clientId), true, this));
    if (!m_client) {
        throw SystemError("make a client for " + m_name);
    }
    Configure();
    Connect();
}

MosquittoBroker::~MosquittoBroker() {
    mosquitto_disconnect(m_client.get());
}

int MosquittoBroker::Publish(const std::string& topic, const std::string& payload) {
    int message = 0;
    Require(mosquitto_publish(m_client.get(), &message, topic.c_str(),
                              static_cast<int>(payload.size()), payload.data(), kAtLeastOnce,
                              false),
            "publish to " + topic);
    return message;
}

void MosquittoBroker::AwaitAcknowledgement(int message) {
    while (m_acknowledged.erase(message) == 0) {
        Work("have a message acknowledged");
    }
}

std::string MosquittoBroker::TakeComplaints() {
    return std::exchange(m_complaints, {});
}

void MosquittoBroker::Configure() {
    mosquitto_connect_callback_set(m_client.get(), Events::Answered);
    mosquitto_publish_callback_set(m_client.get(), Events::Acknowledged);
    mosquitto_log_callback_set(m_client.get(), Events::Said);
    if (m_settings.tls) {
        UseTls();
    }
    if (m_settings.user) {
        UsePassword();
    }
}

// The certificate must be issued by one of the authorities and for the host's name. libmosquitto
// requires both by default.
void MosquittoBroker::UseTls() {
    const std::string authorities = m_settings.caFile.value_or(kSystemCertificates);
    const std::string attempted = "read the certificates in " + authorities;
    if (access(authorities.c_str(), R_OK) != 0) {
        Fail(attempted, std::generic_category().message(errno));
    }
    const char* const file = m_settings.caFile ? authorities.c_str() : nullptr;
    const char* const folder = m_settings.caFile ? nullptr : authorities.c_str();
    Require(mosquitto_tls_set(m_client.get(), file, folder, nullptr, nullptr, nullptr), attempted);
}

void MosquittoBroker::UsePassword() {
    std::optional<std::string> password;
    try {
        if (m_settings.passwordFile) {
            password = ReadSecretFile(*m_settings.passwordFile);
        }
    } catch (const Error& error) {
        throw BrokerError(m_name + ": " + error.what());
    }
    Require(mosquitto_username_pw_set(m_client.get(), OrNull(m_settings.user), OrNull(password)),
            "use the name of the user");
}

void MosquittoBroker::Connect() {
    Require(mosquitto_connect_async(m_client.get(), m_settings.host.c_str(), m_settings.port,
                                    kKeepaliveS),
            "connect");
    while (m_answer < 0) {
        Work("connect");
    }
    if (m_answer != 0) {
        Fail("connect", mosquitto_connack_string(m_answer));
    }
}

// Sends and receives once, which calls the callbacks. Input that arrived before the connection was
// lost counts. The loss is an error only for the next call.
void MosquittoBroker::Work(const std::string& attempted) {
    Require(m_state, attempted);
    m_state = mosquitto_loop(m_client.get(), kLoopMs, 1);
}

void MosquittoBroker::Require(int result, const std::string& attempted) {
    if (result != MOSQ_ERR_SUCCESS) {
        Fail(attempted, mosquitto_strerror(result));
    }
}

void MosquittoBroker::Fail(const std::string& attempted, const std::string& reason) {
    std::string message = m_name + ": can't " + attempted + ": " + Plain(reason);
    if (!m_complaints.empty()) {
        message += " (" + std::exchange(m_complaints, "") + ")";
    }
    throw BrokerError(message);
}

void MosquittoBroker::Destroy::operator()(mosquitto* client) const {
    mosquitto_destroy(client);
}

} // namespace recorder

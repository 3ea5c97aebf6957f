#include "recorder/notification/broker.h"

#include "recorder/notification/brokerprocess.h"
#include "recorder/notification/brokerprotocol.h"

#include <chrono>
#include <utility>

namespace recorder {

namespace {

using Kind = BrokerMessage::Kind;

class BrokerClient final : public Broker {
public:
    BrokerClient(const BrokerSettings& settings, const Deadline& deadline)
        : m_name("broker " + settings.host + ":" + std::to_string(settings.port)),
          m_timeout(settings.timeoutMs), m_deadline(deadline),
          m_process(StartBrokerProcess(settings)) {
        (void)Reply(TimeoutFromNow(), "connect");
    }

    ~BrokerClient() override {
        // A process that has failed gets no time for an orderly disconnect.
        (void)m_process.End(m_isBroken ? Deadline::In(std::chrono::milliseconds(0))
                                       : TimeoutFromNow());
    }
    BrokerClient(const BrokerClient&) = delete;
    BrokerClient& operator=(const BrokerClient&) = delete;
    BrokerClient(BrokerClient&&) = delete;
    BrokerClient& operator=(BrokerClient&&) = delete;

    [[nodiscard]] int Publish(const std::string& topic, const std::string& payload) override {
        BrokerMessage request;
        request.kind = Kind::Publish;
        request.topic = topic;
        request.payload = payload;
        return Ask(request, "publish to " + topic).number;
    }

    void AwaitAcknowledgement(int message) override {
        BrokerMessage request;
        request.kind = Kind::AwaitAcknowledgement;
        request.number = message;
        (void)Ask(request, "have a message acknowledged");
    }

    [[nodiscard]] std::string TakeComplaints() override { return std::exchange(m_complaints, {}); }

private:
    [[nodiscard]] Deadline TimeoutFromNow() const {
        return Deadline::EarlierOf(m_deadline, Deadline::In(m_timeout));
    }

    BrokerMessage Ask(const BrokerMessage& request, const std::string& attempted) {
        const Deadline deadline = TimeoutFromNow();
        Require(Send(m_process.Socket(), request, deadline), attempted);
        return Reply(deadline, attempted);
    }

    BrokerMessage Reply(const Deadline& deadline, const std::string& attempted) {
        BrokerMessage reply;
        Require(Receive(m_process.Socket(), reply, deadline), attempted);
        if (reply.kind != Kind::Done) {
            m_isBroken = true;
        }
        if (reply.kind == Kind::BrokerFailed) {
            throw BrokerError(reply.payload);
        }
        if (reply.kind == Kind::Failed) {
            throw Error(reply.payload);
        }
        if (!reply.payload.empty()) {
            m_complaints += (m_complaints.empty() ? "" : "; ") + reply.payload;
        }
        return reply;
    }

    void Require(Exchange exchange, const std::string& attempted) {
        m_isBroken = m_isBroken || exchange != Exchange::Done;
        const std::string failure = m_name + ": can't " + attempted + ": ";
        if (exchange == Exchange::PeerGone) {
            throw BrokerError(failure + "the publishing process has ended");
        }
        if (exchange == Exchange::TimedOut && m_deadline.IsOver()) {
            throw BrokerSilence(failure + "the time limit for publishing was reached");
        }
        if (exchange == Exchange::TimedOut) {
            throw BrokerSilence(failure + "no answer within " + std::to_string(m_timeout.count()) +
                                " ms");
        }
    }

    std::string m_name;
    std::chrono::milliseconds m_timeout;
    Deadline m_deadline;
    HelperProcess m_process;
    bool m_isBroken = false;
    std::string m_complaints;
};

} // namespace

std::unique_ptr<Broker> ConnectBroker(const BrokerSettings& settings, const Deadline& deadline) {
    return std::make_unique<BrokerClient>(settings, deadline);
}

} // namespace recorder

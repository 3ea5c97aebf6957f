#include "recorder/notification/brokerprocess.h"

#include "recorder/module/module.h"
#include "recorder/notification/broker.h"
#include "recorder/notification/brokerprotocol.h"
#include "recorder/support/error.h"

#include <array>
#include <csignal>
#include <exception>
#include <memory>
#include <utility>

#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace recorder {

namespace {

using Kind = BrokerMessage::Kind;

BrokerMessage ReplyTo(const BrokerMessage& request, Broker& broker) {
    BrokerMessage reply;
    if (request.kind == Kind::Publish) {
        reply.number = broker.Publish(request.topic, request.payload);
    } else {
        broker.AwaitAcknowledgement(request.number);
    }
    reply.payload = broker.TakeComplaints();
    return reply;
}

void Serve(int socket, const BrokerSettings& settings) {
    auto* const connect = ModuleFunction<ConnectBrokerFunction>(kMqttModule);
    const std::unique_ptr<Broker> broker(connect(settings));
    BrokerMessage reply;
    reply.payload = broker->TakeComplaints();
    BrokerMessage request;
    while (Send(socket, reply, Deadline::Never()) == Exchange::Done &&
           Receive(socket, request, Deadline::Never()) == Exchange::Done) {
        reply = ReplyTo(request, *broker);
    }
}

void ServeAndReportFailure(int socket, const BrokerSettings& settings) {
    BrokerMessage failure;
    failure.kind = Kind::Failed;
    try {
        Serve(socket, settings);
        return;
    } catch (const BrokerError& error) {
        failure.kind = Kind::BrokerFailed;
        failure.payload = error.what();
    } catch (const std::exception& error) {
        failure.payload = error.what();
    }
    (void)Send(socket, failure, Deadline::Never());
}

// Closes all inherited descriptors: the lock of the outbox must end with the parent, and only the
// parent may use the databases and the log.
[[noreturn]] void RunBrokerProcess(int socket, const BrokerSettings& settings, pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() == parent && dup2(socket, STDIN_FILENO) == STDIN_FILENO) {
        closefrom(STDERR_FILENO + 1);
        ServeAndReportFailure(STDIN_FILENO, settings);
    }
    _exit(0); // without the parent's exit handlers
}

} // namespace

HelperProcess StartBrokerProcess(const BrokerSettings& settings) {
    std::array<UniqueFd, 2> ends = SocketPair(SOCK_STREAM);
    const pid_t parent = getpid();
    const pid_t id = fork();
    if (id < 0) {
        throw SystemError("start a process that publishes");
    }
    if (id == 0) {
        // The parent ends this process by closing its end, so no copy may stay open here, not even
        // as a standard descriptor.
        ends[0].Reset();
        RunBrokerProcess(ends[1].Get(), settings, parent);
    }
    return {id, std::move(ends[0])};
}

} // namespace recorder

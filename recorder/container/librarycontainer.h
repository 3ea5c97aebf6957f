// Reads containers with krcontainers, the helper process that has libavformat. It is started when
// it is first needed and ends with this process.

#pragma once

#include "recorder/container/container.h"
#include "recorder/support/error.h"

#include <chrono>
#include <memory>

namespace recorder {

// krcontainers failed, so that it is not known whether the container can be read.
class HelperFailure : public Error {
public:
    using Error::Error;
};

class ContainerProgram;

class ContainerLibrary {
public:
    // `patience` is the time-out for all waits for krcontainers during one container. The time that
    // the recorder needs to read the container's bytes doesn't count.
    explicit ContainerLibrary(std::chrono::milliseconds patience);
    ~ContainerLibrary();
    ContainerLibrary(const ContainerLibrary&) = delete;
    ContainerLibrary& operator=(const ContainerLibrary&) = delete;
    ContainerLibrary(ContainerLibrary&&) = delete;
    ContainerLibrary& operator=(ContainerLibrary&&) = delete;

    // Like ReadAvContainer. Also throws Error if krcontainers can't be started, or if it crashed or
    // timed out twice for this container. After two time-outs in total krcontainers is not used
    // again, and every further call throws Error at once.
    [[nodiscard]] ContainerInfo Read(ByteSource& source, ContainerKind kind);

    // Starts krcontainers. Throws Error if it can't be used.
    void Start();

private:
    // Waits for the end of krcontainers. The Error says how it ended.
    HelperFailure EndOfProgram();

    std::unique_ptr<ContainerProgram> m_program;
};

// Read and Start of the one ContainerLibrary of this process.
[[nodiscard]] ContainerInfo ReadContainerByLibrary(ByteSource& source, ContainerKind kind);
void RequireContainerLibrary();

} // namespace recorder

// The way to libavformat, which is in a process of its own (krcontainers). That one is started when
// it is first needed and stays as long as this one does.

#pragma once

#include "recorder/container/container.h"
#include "recorder/support/error.h"

#include <chrono>
#include <memory>

namespace recorder {

class ContainerProgram;

class ContainerLibrary {
public:
    // `patience` is how long krcontainers is waited for, all waits for a container together. What
    // the recorder itself takes to read the container doesn't count.
    explicit ContainerLibrary(std::chrono::milliseconds patience);
    ~ContainerLibrary();
    ContainerLibrary(const ContainerLibrary&) = delete;
    ContainerLibrary& operator=(const ContainerLibrary&) = delete;
    ContainerLibrary(ContainerLibrary&&) = delete;
    ContainerLibrary& operator=(ContainerLibrary&&) = delete;

    // As ReadAvContainer. Throws Error also when krcontainers can't be started, or twice didn't
    // survive the container or didn't answer. After two times without an answer, whichever the
    // containers were, it isn't asked again, and every further call throws Error at once.
    [[nodiscard]] ContainerInfo Read(ByteSource& source, ContainerKind kind);

    // Starts krcontainers now. Throws Error when Read would for want of it.
    void RequireUsual();

private:
    // How krcontainers ended, which is waited for.
    Error EndOfProgram();

    std::unique_ptr<ContainerProgram> m_program;
};

// The same by the one krcontainers of this process.
[[nodiscard]] ContainerInfo ReadContainerByLibrary(ByteSource& source, ContainerKind kind);
void RequireContainerLibrary();

} // namespace recorder

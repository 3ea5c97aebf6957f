// Compares the answers of a reader of ordinary recordings with those of libavformat.

#pragma once

#include "recorder/container/container.h"
#include "recorder/support/error.h"

#include <cstdio>

namespace fuzz {

inline void Print(const char* reader, const recorder::ContainerInfo& info) {
    std::fprintf(stderr, "%s: %d s, video %d, audio %d, %d x %d\n", reader, info.durationSec,
                 info.vdoType, info.audType, info.width, info.height);
}

// Returns true if libavformat gives the same answer, false if it refuses the recording. Traps if it
// gives another answer.
inline bool LibraryAgrees(const recorder::ContainerInfo& info, recorder::ByteSource& source,
                          recorder::ContainerKind kind) {
    try {
        const recorder::ContainerInfo expected = recorder::ReadAvContainer(source, kind);
        if (info.durationSec != expected.durationSec || info.vdoType != expected.vdoType ||
            info.audType != expected.audType || info.width != expected.width ||
            info.height != expected.height) {
            Print("header", info);
            Print("library", expected);
            __builtin_trap();
        }
        return true;
    } catch (const recorder::Error&) {
        return false;
    }
}

} // namespace fuzz

// What a reader of ordinary recordings says is what libavformat says.

#pragma once

#include "recorder/container/avcontainer.h"
#include "recorder/support/error.h"

#include <cstdio>

namespace fuzz {

inline void Print(const char* who, const recorder::ContainerInfo& info) {
    std::fprintf(stderr, "%s: %d s, video %d, audio %d, %d x %d\n", who, info.durationSec,
                 info.vdoType, info.audType, info.width, info.height);
}

// Whether libavformat answers; it traps where it answers something else.
inline bool LibraryAgrees(const recorder::ContainerInfo& info, recorder::ByteSource& source,
                          recorder::ContainerKind kind) {
    try {
        const recorder::ContainerInfo judged = recorder::ReadAvContainer(source, kind);
        if (info.durationSec != judged.durationSec || info.vdoType != judged.vdoType ||
            info.audType != judged.audType || info.width != judged.width ||
            info.height != judged.height) {
            Print("header", info);
            Print("library", judged);
            __builtin_trap();
        }
        return true;
    } catch (const recorder::Error&) {
        return false;
    }
}

} // namespace fuzz

// Records calls in the transcript.

#pragma once

#include "tests/fakes/scriptedplatform.h"

#include <array>
#include <charconv>
#include <concepts>
#include <string>

namespace fakes {

inline std::string Text(bool value) {
    return value ? "true" : "false";
}

// The shortest decimal that reads back as the same bits.
inline std::string Text(double value) {
    std::array<char, 32> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    return {digits.data(), end.ptr};
}

template <std::integral Int> std::string Text(Int value) {
    return std::to_string(value);
}

inline std::string Text(const std::string& value) {
    return Quoted(value);
}

// A symbol such as "null" or "result", which is not quoted.
inline std::string Text(const char* symbol) {
    return symbol;
}

// The line "NAME(ARGUMENT, ARGUMENT)"; texts are quoted, symbols are not.
template <typename... Args> std::string Call(const std::string& name, const Args&... args) {
    std::string text;
    ((text += (text.empty() ? "" : ", ") + Text(args)), ...);
    return name + "(" + text + ")";
}

// Records a call that other parts of the recorder or the disk notice, and returns its scripted
// result.
template <typename... Args> int RecordCall(const std::string& name, const Args&... args) {
    ScriptedPlatform& platform = Platform();
    platform.Record(name, Call(name, args...), ScriptedPlatform::Weight::Call);
    return platform.Answer(name);
}

// Records a call of a pure helper.
template <typename... Args> void RecordDetail(const std::string& name, const Args&... args) {
    Platform().Record(name, Call(name, args...), ScriptedPlatform::Weight::Detail);
}

} // namespace fakes

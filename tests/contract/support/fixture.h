// The base of every contract test: each test begins with a new recorder.

#pragma once

#include "tests/contract/world.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace contract {

class ContractTest : public testing::Test {
protected:
    ContractTest() { world::Reset(); }

    // A path in the scratch folder.
    static std::string Scratch(const std::string& name) {
        return world::ScratchFolder() + "/" + name;
    }

    static std::string MakeFolder(const std::string& name) {
        std::filesystem::create_directories(Scratch(name));
        return Scratch(name);
    }

    // The lines of the log that contain this text.
    static std::vector<std::string> LogLinesWith(const std::string& text) {
        std::vector<std::string> lines = world::Log();
        lines.erase(
            std::remove_if(lines.begin(), lines.end(),
                           [&](const std::string& line) { return line.find(text) == line.npos; }),
            lines.end());
        return lines;
    }
};

// Names whose bytes break programs that treat names as text.
inline std::vector<std::string> HostileNames() {
    return {
        "quote's \"double\" `back`", "back\\slash \\' \\x00",
        "new\nline\r\ttab",          "\xff\xfe\x80\xc3",
        "; DROP TABLE event; --",    "%s%n%d ?1 :a $b",
        std::string(255, '\''),      " leading and trailing ",
        "\x01\x1b[31m\x7f",          "'",
    };
}

} // namespace contract

// A JSON document with a long list, which is printed while its elements are found.

#pragma once

#include "tools/common/json.h"

#include <string>

class JsonList {
public:
    // `name` is that of the schema. `head` has the members before the list, `key` is the list's.
    JsonList(std::string name, std::string key, Json head = Json::object())
        : m_name(std::move(name)), m_key(std::move(key)), m_head(std::move(head)) {}

    // Prints an element, on a line of its own.
    void Add(const Json& element);

    // Prints the end: the members of `rest`, which may be none, after the list.
    void End(const Json& rest = Json::object());

private:
    void Begin();

    std::string m_name;
    std::string m_key;
    Json m_head;
    long m_count = 0; // elements printed
};

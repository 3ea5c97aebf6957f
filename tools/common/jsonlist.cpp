#include "tools/common/jsonlist.h"

#include <cstdio>

namespace {

std::string Indented(const Json& object) {
    return object.dump(2, ' ', false, Json::error_handler_t::replace);
}

} // namespace

void JsonList::Begin() {
    Json head{{"schema", SchemaName(m_name)}};
    head.update(m_head);
    std::string text = Indented(head);
    text.erase(text.rfind("\n}"));
    std::printf("%s,\n  %s: [", text.c_str(), Json(m_key).dump().c_str());
}

void JsonList::Add(const Json& element) {
    if (m_count == 0) {
        Begin();
    }
    std::printf("%s\n    %s", m_count++ == 0 ? "" : ",",
                element.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
}

void JsonList::End(const Json& rest) {
    if (m_count == 0) {
        Begin();
    }
    const std::string text = rest.empty() ? "{\n}" : "," + Indented(rest).substr(1);
    std::printf("%s]%s\n", m_count == 0 ? "" : "\n  ", rest.empty() ? "\n}" : text.c_str());
}

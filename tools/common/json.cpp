#include "tools/common/json.h"

#include "tools/common/texts.h"

#include <cstdio>

Json JsonText(std::string_view bytes) {
    // The library replaces invalid UTF-8 only when it writes.
    return Json::parse(Json(bytes).dump(-1, ' ', false, Json::error_handler_t::replace));
}

Json JsonTextOrNull(const std::optional<std::string>& bytes) {
    return bytes ? JsonText(*bytes) : Json();
}

Json JsonTime(long timeTm) {
    const std::optional<std::string> text = UtcTimeText(timeTm);
    return text ? Json(*text) : Json();
}

std::string SchemaName(std::string_view name) {
    return "krctl." + std::string(name) + "/1";
}

void PrintJson(std::string_view name, const Json& object) {
    Json document{{"schema", SchemaName(name)}};
    document.update(object);
    std::puts(document.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

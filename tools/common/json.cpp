#include "tools/common/json.h"

#include <cstdio>

Json JsonText(std::string_view bytes) {
    // The library replaces invalid UTF-8 only when it writes.
    return Json::parse(Json(bytes).dump(-1, ' ', false, Json::error_handler_t::replace));
}

void PrintJson(const Json& json) {
    std::puts(json.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

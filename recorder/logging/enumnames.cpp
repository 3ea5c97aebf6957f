#include "platform/logging.h"

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr const char* kUnknown = "unknown";

constexpr std::array kCategories{
    std::pair{LOG_CATEG_RECORDER, "recorder"},
    std::pair{LOG_CATEG_REINDEX, "reindex"},
};

constexpr std::array kLevels{
    std::pair{LOG_LEVEL_ERROR, "error"},   std::pair{LOG_LEVEL_WARNING, "warning"},
    std::pair{LOG_LEVEL_NOTICE, "notice"}, std::pair{LOG_LEVEL_INFO, "info"},
    std::pair{LOG_LEVEL_DETAIL, "detail"}, std::pair{LOG_LEVEL_DEBUG, "debug"},
    std::pair{LOG_LEVEL_TRACE, "trace"},
};

template <typename Names, typename Enum> const char* NameOf(const Names& names, Enum value) {
    const auto* const found = std::find_if(
        names.begin(), names.end(), [value](const auto& entry) { return entry.first == value; });
    return found == names.end() ? kUnknown : found->second;
}

} // namespace

template <> const char* Enum2String<LOG_CATEG>(LOG_CATEG value) {
    return NameOf(kCategories, value);
}

template <> const char* Enum2String<LOG_LEVEL>(LOG_LEVEL value) {
    return NameOf(kLevels, value);
}

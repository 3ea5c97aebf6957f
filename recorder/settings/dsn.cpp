#include "recorder/settings/dsn.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>

namespace recorder {

namespace {

constexpr std::string_view kDigits = "0123456789";
constexpr std::size_t kEncodedLength = 3; // of "%2F"

// Cuts `text` at the first `separator` and returns the rest; nothing if `text` has no separator.
std::optional<std::string_view> CutOff(std::string_view& text, char separator) {
    const std::size_t at = text.find(separator);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view rest = text.substr(at + 1);
    text = text.substr(0, at);
    return rest;
}

template <typename Fits> bool EachFits(std::string_view list, char separator, const Fits& fits) {
    for (std::optional<std::string_view> rest = list; rest;) {
        std::string_view element = *rest;
        rest = CutOff(element, separator);
        if (!fits(element)) {
            return false;
        }
    }
    return true;
}

bool IsHexDigit(char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

bool IsEncoded(std::string_view text) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto c = static_cast<unsigned char>(text[at]);
        if (std::iscntrl(c) != 0 || c == ' ') {
            return false;
        }
        const std::string_view code = text.substr(at, kEncodedLength);
        if (c == '%' && (code.size() < kEncodedLength || !IsHexDigit(code[1]) ||
                         !IsHexDigit(code[2]) || code == "%00")) {
            return false;
        }
    }
    return true;
}

bool HoldsNone(std::string_view text, std::string_view characters) {
    return text.find_first_of(characters) == std::string_view::npos;
}

// A ":", also as %3A, would begin a password.
bool IsUser(std::string_view user) {
    return HoldsNone(user, ":") && user.find("%3a") == std::string_view::npos &&
           user.find("%3A") == std::string_view::npos;
}

bool IsPort(std::string_view port) {
    return !port.empty() && port.find_first_not_of(kDigits) == std::string_view::npos;
}

// An IPv6 address without its brackets, with an optional zone after "%".
bool IsAddress(std::string_view address) {
    const std::size_t zone = std::min(address.find('%'), address.size());
    return address.substr(0, zone).find_first_not_of("0123456789abcdefABCDEF:.") ==
           std::string_view::npos;
}

bool IsHost(std::string_view host) {
    if (host.starts_with('[')) {
        const std::optional<std::string_view> rest = CutOff(host, ']');
        return rest && host.size() > 1 && IsAddress(host.substr(1)) &&
               (rest->empty() || (rest->starts_with(':') && IsPort(rest->substr(1))));
    }
    const std::optional<std::string_view> port = CutOff(host, ':');
    return HoldsNone(host, "[]") && IsUser(host) && (!port || IsPort(*port));
}

bool IsAuthority(std::string_view authority) {
    std::string_view hosts = authority;
    if (const std::optional<std::string_view> rest = CutOff(authority, '@')) {
        hosts = *rest;
        if (!IsUser(authority)) {
            return false;
        }
    }
    return HoldsNone(hosts, "@") && EachFits(hosts, ',', IsHost);
}

bool IsOption(std::string_view option) {
    const std::optional<std::string_view> value = CutOff(option, '=');
    const bool isName =
        !option.empty() && std::all_of(option.begin(), option.end(), [](unsigned char c) {
            return std::islower(c) != 0 || c == '_';
        });
    if (!isName || !value || !HoldsNone(*value, "=@") || IsOptionOfSecret(option)) {
        return false;
    }
    return option != "port" || EachFits(*value, ',', IsPort);
}

} // namespace

bool IsSoundDsn(const std::string& dsn) {
    std::string_view text = dsn;
    const std::optional<std::string_view> afterScheme = CutOff(text, ':');
    if ((text != "postgresql" && text != "postgres") || !afterScheme ||
        !afterScheme->starts_with("//") || !IsEncoded(dsn)) {
        return false;
    }
    std::string_view authority = afterScheme->substr(2);
    const std::optional<std::string_view> options = CutOff(authority, '?');
    const std::optional<std::string_view> database = CutOff(authority, '/');
    return IsAuthority(authority) && HoldsNone(database.value_or(""), "/:@=") &&
           (!options || options->empty() || EachFits(*options, '&', IsOption));
}

bool IsOptionOfSecret(std::string_view name) {
    constexpr std::array<std::string_view, 2> kNamesOfFiles{"passfile", "service"};
    return name.find("password") != std::string_view::npos ||
           name.find("secret") != std::string_view::npos ||
           std::find(kNamesOfFiles.begin(), kNamesOfFiles.end(), name) != kNamesOfFiles.end();
}

} // namespace recorder

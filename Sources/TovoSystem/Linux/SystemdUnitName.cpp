#include "TovoSystem/Linux/SystemdUnitName.hpp"

#include <vector>

namespace tovo {

namespace {

bool endsWith(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

// Launchers pick the random part: a pid, or letters and digits.
bool isRandomPart(std::string_view text) {
    return !text.empty() && text.find_first_not_of(
                                "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ") ==
                                std::string_view::npos;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

// The unit path of one hierarchy, scanned from the leaf up: sub-cgroups that a
// service makes for itself sit below the unit.
std::optional<SystemdAppUnit> appUnitOfPath(std::string_view path) {
    std::size_t end = path.size();
    while (end > 0) {
        const auto slash = path.rfind('/', end - 1);
        const auto start = slash == std::string_view::npos ? 0 : slash + 1;
        if (auto unit = SystemdUnitName::parseAppUnit(path.substr(start, end - start))) {
            unit->unitPath = std::string(path.substr(0, end));
            return unit;
        }
        if (slash == std::string_view::npos) {
            break;
        }
        end = slash;
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> SystemdUnitName::unescape(std::string_view escaped) {
    std::string result;
    result.reserve(escaped.size());
    for (std::size_t i = 0; i < escaped.size(); ++i) {
        if (escaped[i] != '\\') {
            result.push_back(escaped[i]);
            continue;
        }
        if (i + 3 >= escaped.size() || escaped[i + 1] != 'x') {
            return std::nullopt;
        }
        const int high = hexValue(escaped[i + 2]);
        const int low = hexValue(escaped[i + 3]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        result.push_back(static_cast<char>(high * 16 + low));
        i += 3;
    }
    return result;
}

std::optional<SystemdAppUnit> SystemdUnitName::parseAppUnit(std::string_view unit) {
    constexpr std::string_view prefix = "app-";
    if (unit.substr(0, prefix.size()) != prefix) {
        return std::nullopt;
    }
    std::string_view body;
    if (endsWith(unit, ".service")) {
        body = unit.substr(prefix.size(), unit.size() - prefix.size() - 8);
        if (const auto at = body.find('@'); at != std::string_view::npos) {
            body = body.substr(0, at);
        }
    } else if (endsWith(unit, ".scope")) {
        body = unit.substr(prefix.size(), unit.size() - prefix.size() - 6);
        const auto dash = body.rfind('-');
        if (dash == std::string_view::npos || !isRandomPart(body.substr(dash + 1))) {
            return std::nullopt;
        }
        body = body.substr(0, dash);
    } else {
        return std::nullopt;
    }
    // The id is escaped and holds no dash, so a dash ends the launcher's name.
    std::optional<std::string> launcher;
    if (const auto dash = body.find('-'); dash != std::string_view::npos) {
        launcher = std::string(body.substr(0, dash));
        body = body.substr(dash + 1);
    }
    if (body.empty() || (launcher && launcher->empty())) {
        return std::nullopt;
    }
    auto id = unescape(body);
    if (!id || id->empty() || id->find('/') != std::string::npos) {
        return std::nullopt;
    }
    return SystemdAppUnit{std::string(unit), std::move(launcher), std::move(*id)};
}

std::optional<SystemdAppUnit> SystemdUnitName::appUnitOfCgroup(std::string_view cgroupFile) {
    std::optional<std::string_view> unified;
    std::optional<std::string_view> named;
    while (!cgroupFile.empty()) {
        const auto newline = cgroupFile.find('\n');
        const auto line = cgroupFile.substr(0, newline);
        cgroupFile =
            newline == std::string_view::npos ? std::string_view{} : cgroupFile.substr(newline + 1);
        const auto first = line.find(':');
        const auto second = first == std::string_view::npos ? first : line.find(':', first + 1);
        if (second == std::string_view::npos) {
            continue;
        }
        const auto hierarchy = line.substr(0, first);
        const auto controllers = line.substr(first + 1, second - first - 1);
        const auto path = line.substr(second + 1);
        if (hierarchy == "0" && controllers.empty() && !unified) {
            unified = path;
        } else if (controllers == "name=systemd" && !named) {
            named = path;
        }
    }
    for (const auto& path : {unified, named}) {
        if (path) {
            if (auto unit = appUnitOfPath(*path)) {
                return unit;
            }
        }
    }
    return std::nullopt;
}

} // namespace tovo

#pragma once

#include <QIcon>

#include <string>

namespace tovo::ApplicationIcon {

/// The icon a desktop application's entry names (its `Icon` key: a theme icon or a
/// file), else the theme icon named like the application id; null when neither exists.
QIcon forApplication(const std::string& applicationID);

} // namespace tovo::ApplicationIcon

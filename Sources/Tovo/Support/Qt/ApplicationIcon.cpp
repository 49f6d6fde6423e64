#include "Tovo/Support/Qt/ApplicationIcon.hpp"

#include "TovoSystem/Linux/DesktopEntry.hpp"
#include "TovoSystem/Services/DesktopApplicationRegistry.hpp"

#include <QFileInfo>

namespace tovo::ApplicationIcon {

QIcon forApplication(const std::string& applicationID) {
    static const auto directories =
        DesktopApplicationRegistry::Options::fromEnvironment().dataDirectories;
    if (const auto file = DesktopEntry::locate(applicationID, directories)) {
        if (const auto entry = DesktopEntry::load(*file)) {
            if (const auto name = entry->value("Icon"); name && !name->empty()) {
                const QString icon = QString::fromStdString(*name);
                if (QFileInfo(icon).isAbsolute()) {
                    QIcon fromFile(icon);
                    if (!fromFile.isNull()) {
                        return fromFile;
                    }
                } else if (QIcon::hasThemeIcon(icon)) {
                    return QIcon::fromTheme(icon);
                }
            }
        }
    }
    const QString id = QString::fromStdString(applicationID);
    return QIcon::hasThemeIcon(id) ? QIcon::fromTheme(id) : QIcon();
}

} // namespace tovo::ApplicationIcon

#include "Tovo/Support/Qt/FontDatabaseWarmUp.hpp"

#include <QFontDatabase>
#include <QGuiApplication>

namespace tovo {

FontDatabaseWarmUp::FontDatabaseWarmUp() {
    // The application font is settled here, on the main thread, before the helper
    // reaches the platform's font database.
    [[maybe_unused]] const QFont applicationFont = QGuiApplication::font();
    helper_ = std::thread([] { [[maybe_unused]] const auto families = QFontDatabase::families(); });
}

FontDatabaseWarmUp::~FontDatabaseWarmUp() {
    helper_.join();
}

} // namespace tovo

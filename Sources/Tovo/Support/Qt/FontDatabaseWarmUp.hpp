#pragma once

#include <thread>

namespace tovo {

/// Fills Qt's font database on a helper thread while the window is being built.
/// Reading the system's font configuration is the largest single cost of start-up,
/// and building the window needs no font until it is first measured, when shown.
/// QFontDatabase is thread-safe: the main thread simply waits if it gets there first.
class FontDatabaseWarmUp {
public:
    /// Starts at once; the application object must already exist.
    FontDatabaseWarmUp();
    /// Waits for the helper, which must end before the application object does.
    ~FontDatabaseWarmUp();
    FontDatabaseWarmUp(const FontDatabaseWarmUp&) = delete;
    FontDatabaseWarmUp& operator=(const FontDatabaseWarmUp&) = delete;

private:
    std::thread helper_;
};

} // namespace tovo

#pragma once

#include <string>
#include <string_view>

namespace tovo {

/// Names and paths as a person reads them: never an escape code, never a character
/// that moves the text around. A line break reads "⏎", a tab "⇥", any other control
/// character or direction mark "⬚"; bytes that are not UTF-8 read "�".
namespace ReadableText {

/// A path as lsof printed it: its escapes ("\n", "\t", "\r", "\b", "\f", "\\" and
/// "\xhh") are undone, then the result is made readable. lsof's "^X" for other
/// control bytes stays as it is: a file name may hold "^" itself.
std::string fromLsof(std::string_view lsofText);

/// Raw text (a kernel process name, a decoded mount path) made readable.
std::string fromRaw(std::string_view text);

} // namespace ReadableText

} // namespace tovo

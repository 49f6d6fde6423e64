#pragma once

#include <string>
#include <string_view>

namespace tovo::UdevText {

/// Decodes udev's "\xNN" escapes (as in ID_FS_LABEL_ENC); other text stays as it is.
/// The result may hold any bytes; callers decode it as UTF-8 leniently.
std::string decode(std::string_view encoded);

} // namespace tovo::UdevText

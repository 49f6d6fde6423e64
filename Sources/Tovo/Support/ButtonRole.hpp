#pragma once

namespace tovo {

/// How a button looks, by what pressing it does: the desktop's plain button, the
/// accent-filled suggested action, or the red destructive one.
enum class ButtonRole { plain, suggested, destructive };

} // namespace tovo

#pragma once

#include "Tovo/Support/WriteOutPresentation.hpp"

#include <functional>

class QMessageBox;
class QWidget;

namespace tovo {

/// Opens `question` as a sheet of `parent`, "Keep Waiting" by default; `quit` runs when
/// the user chooses to quit anyway. The box deletes itself when closed.
QMessageBox* askBeforeClosing(QWidget* parent, const CloseQuestion& question,
                              std::function<void()> quit);

} // namespace tovo

#pragma once

#include "Tovo/Support/ButtonRole.hpp"

#include <QDialog>

#include <string>

class QHBoxLayout;
class QVBoxLayout;

namespace tovo {

class FittedScrollArea;
class ProminentButton;

/// The frame of a confirmation sheet: a header that is never squeezed, a list under
/// it that grows with its rows up to the screen's height and then scrolls, and the
/// buttons. The sheet is exactly as large as its content, so it can be neither
/// resized nor maximised. Window-modal.
class SheetFrame : public QDialog {
    Q_OBJECT

public:
    explicit SheetFrame(QWidget* parent = nullptr);

    FittedScrollArea* list() const { return list_; }
    /// The tallest the sheet may be: the screen's free height, less the title bar.
    int heightLimit() const;

protected:
    QVBoxLayout* headerLayout() const { return header_; }
    QVBoxLayout* listLayout() const { return listLayout_; }
    /// A button in the row at the bottom, after those added before.
    ProminentButton* addButton(const std::string& title, ButtonRole role);
    /// Return presses `button`, and the sheet opens with the focus on `focus`.
    void setDefaultAndFocus(ProminentButton* button, QWidget* focus);

    bool event(QEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void fitToContent();

    QVBoxLayout* header_;
    QVBoxLayout* listLayout_;
    FittedScrollArea* list_;
    QHBoxLayout* buttons_;
    QWidget* initialFocus_ = nullptr;
    bool fitting_ = false;
};

} // namespace tovo

#pragma once

#include <QPlainTextEdit>

#include <string>
#include <vector>

namespace tovo {

/// Lines of detail (open files, devices) in the caption's size and the secondary
/// colour. A path wraps anywhere when it has no place to break, so it never widens
/// the window, and it can be selected and copied exactly as shown. Read-only, no
/// frame, no scroll bars: it is always as tall as its lines.
class DetailText final : public QPlainTextEdit {
    Q_OBJECT

public:
    explicit DetailText(const std::vector<std::string>& lines, QWidget* parent = nullptr);

    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void applyColours();
};

} // namespace tovo

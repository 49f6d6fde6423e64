#pragma once

#include "Tovo/Support/PresentationColors.hpp"

#include <QWidget>

#include <optional>
#include <string>
#include <vector>

namespace tovo {

class DisclosureButton;

/// One item of a review's list, on a tinted card when the user must act on it: a
/// status symbol, the item's name, what Tovo will do or what the user must do, and
/// the details behind an arrow.
class SheetEntry final : public QWidget {
    Q_OBJECT

public:
    struct Content {
        std::string symbol;
        SymbolColor symbolColor;
        std::string name;
        std::vector<std::string> lines;       ///< secondary texts under the name
        std::vector<std::string> detailLines; ///< behind the arrow; none: no arrow
        std::string showDetailsLabel;
        std::string hideDetailsLabel;
        bool needsUser;
    };

    explicit SheetEntry(Content content, QWidget* parent = nullptr);

    DisclosureButton* disclosureButton() const { return disclosure_; }
    QWidget* details() const { return details_; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    bool needsUser_;
    DisclosureButton* disclosure_ = nullptr;
    QWidget* details_ = nullptr;
};

} // namespace tovo

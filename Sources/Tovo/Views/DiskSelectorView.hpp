#pragma once

#include "TovoCore/Models/ExternalDisk.hpp"

#include <QWidget>

#include <functional>
#include <optional>
#include <string>
#include <vector>

class QGridLayout;
class QLabel;

namespace tovo {

class DiskCard;

/// The heading with the disk count and a grid of disk cards (one column for one
/// disk, two otherwise). Picking a card calls `onSelect` with the disk's id.
class DiskSelectorView final : public QWidget {
    Q_OBJECT

public:
    DiskSelectorView(std::function<void(const std::string&)> onSelect, bool reduceMotion,
                     QWidget* parent = nullptr);

    void setState(const std::vector<ExternalDisk>& disks,
                  const std::optional<std::string>& selection, bool isEnabled);

    const std::vector<DiskCard*>& cards() const { return cards_; }
    QLabel* countBadge() const { return countBadge_; }

private:
    void rebuild(const std::vector<ExternalDisk>& disks);

    std::function<void(const std::string&)> onSelect_;
    bool reduceMotion_;
    std::vector<ExternalDisk> disks_;
    std::optional<std::string> selection_;
    QLabel* countBadge_;
    QGridLayout* grid_;
    std::vector<DiskCard*> cards_;
};

} // namespace tovo

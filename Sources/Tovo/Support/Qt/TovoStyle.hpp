#pragma once

#include <QProxyStyle>

namespace tovo {

/// Fusion, with the few standard icons Tovo shows drawn in code like its other
/// symbols. Fusion's own come from PNG files, and decoding the menu bar's
/// overflow chevron at start-up loaded every image-format plugin to find a reader.
class TovoStyle final : public QProxyStyle {
    Q_OBJECT

public:
    TovoStyle();

    QIcon standardIcon(StandardPixmap icon, const QStyleOption* option = nullptr,
                       const QWidget* widget = nullptr) const override;
};

} // namespace tovo

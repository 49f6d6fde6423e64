#pragma once

#include <QProxyStyle>

namespace tovo {

/// Fusion, with the few standard icons Tovo shows drawn in code like its other
/// symbols (Fusion's own come from PNG files, and decoding the menu bar's overflow
/// chevron at start-up loaded every image-format plugin to find a reader), and
/// scroll bars without arrow buttons, as the desktops draw them today.
class TovoStyle final : public QProxyStyle {
    Q_OBJECT

public:
    TovoStyle();

    QIcon standardIcon(StandardPixmap icon, const QStyleOption* option = nullptr,
                       const QWidget* widget = nullptr) const override;
    QRect subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                         const QWidget* widget = nullptr) const override;
    int pixelMetric(PixelMetric metric, const QStyleOption* option = nullptr,
                    const QWidget* widget = nullptr) const override;
    void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                            QPainter* painter, const QWidget* widget = nullptr) const override;
};

} // namespace tovo

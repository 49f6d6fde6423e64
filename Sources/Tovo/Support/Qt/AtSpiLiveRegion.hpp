#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QWidget>

#include <memory>

namespace tovo {

/// A polite live region on the AT-SPI bus: an accessible text whose object attributes
/// say `container-live: polite`, so a screen reader speaks each new sentence without
/// moving the focus. Qt 6.4's bridge drops alerts and cannot give an object these
/// attributes, so the region is served beside it, on the bridge's own connection to
/// the accessibility bus (the same application to every listener), as a child of
/// `host`. It also raises the newer AT-SPI announcement for readers that take one.
/// Without an accessibility bus (no screen reader running) it does nothing.
class AtSpiLiveRegion final : public QObject {
    Q_OBJECT

public:
    /// Where the region is served on the bridge's connection.
    static constexpr const char* objectPath = "/org/tovo/Tovo/atspi/live";

    explicit AtSpiLiveRegion(QWidget* host, QObject* parent = nullptr);
    ~AtSpiLiveRegion() override;

    /// Replaces the region's text with `sentence` and tells the bus.
    void say(const QString& sentence);
    const QString& text() const { return text_; }
    /// Served on the accessibility bus (only after the first sentence).
    bool isServed() const { return served_; }

private:
    class Adaptor;
    bool serve();
    void emitEvent(const char* member, const QString& detail, int first, int second,
                   const QString& data);

    QPointer<QWidget> host_;
    QString text_;
    bool served_ = false;
    std::unique_ptr<Adaptor> adaptor_;
};

} // namespace tovo

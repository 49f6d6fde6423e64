#pragma once

#include "Tovo/Support/StatusPresentation.hpp"

#include <QWidget>

class QLabel;

namespace tovo {

/// A status symbol beside a headline title and a secondary message: the shape of
/// the ready, empty, success and failure views.
class SymbolStatusView : public QWidget {
    Q_OBJECT

public:
    SymbolStatusView(const StatusContent& content, QWidget* parent = nullptr);
    QLabel* titleLabel() const { return title_; }
    QLabel* messageLabel() const { return message_; }

protected:
    void changeEvent(QEvent* event) override;

private:
    void updateSymbol();

    StatusContent content_;
    QLabel* symbol_;
    QLabel* title_;
    QLabel* message_;
};

/// "Ready to eject": a disk is selected and nothing is running.
class ReadyView final : public SymbolStatusView {
    Q_OBJECT
public:
    using SymbolStatusView::SymbolStatusView;
};

/// "No external disks".
class EmptyDisksView final : public SymbolStatusView {
    Q_OBJECT
public:
    using SymbolStatusView::SymbolStatusView;
};

/// "Ejected safely".
class SuccessStatusView final : public SymbolStatusView {
    Q_OBJECT
public:
    using SymbolStatusView::SymbolStatusView;
};

/// The workflow's own failure title and message.
class FailureStatusView final : public SymbolStatusView {
    Q_OBJECT
public:
    using SymbolStatusView::SymbolStatusView;
};

/// An operation is running: a spinning indicator named "Working" beside the texts.
class BusyStatusView final : public QWidget {
    Q_OBJECT

public:
    BusyStatusView(const StatusContent& content, QWidget* parent = nullptr);
    QLabel* titleLabel() const { return title_; }

private:
    QLabel* title_;
};

/// A headline and a secondary message stacked, shared by the status views.
QWidget* makeStatusTexts(const StatusContent& content, QLabel*& title, QLabel*& message,
                         QWidget* parent);

} // namespace tovo

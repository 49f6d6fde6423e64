#pragma once

#include <QString>

#include <string>

class QLabel;

/// Texts handed to Qt widgets.
namespace tovo::QtText {

/// A text for a button or menu item, shown as it is: "&" would otherwise make the
/// next letter an access key ("R&D" would read "RD").
QString literal(const std::string& text);

/// A text that word-wraps even where a run of characters has no place to break
/// (a long disk name without spaces): an invisible break opportunity (U+200B) goes
/// into every run longer than `longestRun` characters. Runs that already break, and
/// the text a reader hears, stay as they are.
QString breakable(const QString& text, int longestRun = 12);
QString breakable(const std::string& text, int longestRun = 12);

/// Word-wraps `label` and shows `text` breakable; its accessible name stays `text`.
void setWrappedText(QLabel* label, const QString& text);

} // namespace tovo::QtText

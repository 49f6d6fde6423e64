#include "Tovo/Support/Qt/QtText.hpp"

#include <QLabel>
#include <QTextBoundaryFinder>

namespace tovo::QtText {

namespace {

constexpr QChar zeroWidthSpace(0x200B);

} // namespace

QString literal(const std::string& text) {
    return QString::fromStdString(text).replace(QLatin1Char('&'), QStringLiteral("&&"));
}

QString breakable(const QString& text, int longestRun) {
    if (text.size() <= longestRun) {
        return text;
    }
    QTextBoundaryFinder lines(QTextBoundaryFinder::Line, text);
    QTextBoundaryFinder graphemes(QTextBoundaryFinder::Grapheme, text);
    QString result;
    result.reserve(text.size() + text.size() / longestRun);
    int characters = 0;
    for (int position = 0; position < text.size();) {
        graphemes.setPosition(position);
        const int next = graphemes.toNextBoundary();
        const int end = next < 0 ? static_cast<int>(text.size()) : next;
        lines.setPosition(position);
        if (lines.isAtBoundary()) {
            characters = 0;
        }
        if (characters == longestRun) {
            result += zeroWidthSpace;
            characters = 0;
        }
        result += text.mid(position, end - position);
        ++characters;
        position = end;
    }
    return result;
}

QString breakable(const std::string& text, int longestRun) {
    return breakable(QString::fromStdString(text), longestRun);
}

void setWrappedText(QLabel* label, const QString& text) {
    const QString shown = breakable(text);
    label->setWordWrap(true);
    label->setText(shown);
    // Screen readers get the text itself, without the break marks.
    label->setAccessibleName(shown == text ? QString() : text);
}

} // namespace tovo::QtText

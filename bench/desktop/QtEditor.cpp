// A Qt text editor exposed through AT-SPI, the Qt target of the capture benchmark: a long text with
// a selection in the middle, focused.
#include <QApplication>
#include <QPlainTextEdit>
#include <QTextCursor>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QPlainTextEdit editor;
    editor.setWindowTitle(QStringLiteral("bench-qt-editor"));
    QString text;
    for (int line = 0; line < 200; ++line) {
        text +=
            QStringLiteral("Line %1 of the Qt benchmark document, with some words to select.\n").arg(line);
    }
    editor.setPlainText(text);
    QTextCursor cursor = editor.textCursor();
    cursor.setPosition(int(text.size() / 2));
    cursor.setPosition(int(text.size() / 2) + 40, QTextCursor::KeepAnchor);
    editor.setTextCursor(cursor);
    editor.resize(500, 400);
    editor.show();
    return app.exec();
}

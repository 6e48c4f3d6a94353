#pragma once

#include <QString>
#include <memory>

// Sets and reads the text of another application's editor through AT-SPI, as a test's hands and eyes.
class EditorDriver
{
public:
    explicit EditorDriver(qint64 processId);
    ~EditorDriver();

    bool isReady() const;
    bool setText(const QString& text);
    // Offsets in Unicode code points, as AT-SPI counts them; start == end places the caret.
    bool select(int start, int end);
    QString text() const;

private:
    struct Node;
    std::unique_ptr<Node> m_node;
};

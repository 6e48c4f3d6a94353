#include "desktop/QtClipboard.h"

#include <QClipboard>
#include <QDeadlineTimer>
#include <QGuiApplication>
#include <QMimeData>
#include <QSet>

namespace {

// Formats Qt lists for a foreign clipboard that are protocol details or its own conversions, not data.
const QSet<QString> pseudoFormats = {
    QStringLiteral("TARGETS"),
    QStringLiteral("MULTIPLE"),
    QStringLiteral("TIMESTAMP"),
    QStringLiteral("SAVE_TARGETS"),
    QStringLiteral("application/x-qt-image"),
};

const QString passwordManagerHint = QStringLiteral("x-kde-passwordManagerHint");

// Each format of a foreign clipboard is a round trip to its owner: a save keeps what fits in these
// bounds and leaves out the rest, rather than holding the main thread.
constexpr int maxSavedFormats = 16;
constexpr qsizetype maxSavedBytes = 16 * 1024 * 1024;
constexpr int saveBudgetMs = 250;

// Text that counts how often it is handed out: the clipboard serves another application's request by
// reading it through retrieveData.
class ServedText : public QMimeData
{
public:
    ServedText(const QString& text, std::shared_ptr<QtClipboard::Serves> serves) : m_serves(std::move(serves))
    {
        setText(text);
    }

protected:
    QVariant retrieveData(const QString& mimeType, QMetaType type) const override
    {
        if (m_serves->ownReads == 0 && mimeType != passwordManagerHint)
            ++m_serves->served;
        return QMimeData::retrieveData(mimeType, type);
    }

private:
    std::shared_ptr<QtClipboard::Serves> m_serves;
};

// Marks a read of the clipboard by this process.
class OwnRead
{
public:
    explicit OwnRead(QtClipboard::Serves& serves) : m_serves(serves) { ++m_serves.ownReads; }
    ~OwnRead() { --m_serves.ownReads; }
    OwnRead(const OwnRead&) = delete;
    OwnRead& operator=(const OwnRead&) = delete;

private:
    QtClipboard::Serves& m_serves;
};

} // namespace

QtClipboard::QtClipboard(QObject* parent) : QObject(parent)
{
    connect(QGuiApplication::clipboard(), &QClipboard::changed, this, [this](QClipboard::Mode mode) {
        if (mode == QClipboard::Clipboard) {
            ++m_changeCount;
        }
    });
}

ClipboardContents QtClipboard::save()
{
    const OwnRead own(*m_serves);
    ClipboardContents contents;
    const QMimeData* data = QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard);
    if (!data) {
        return contents;
    }
    const QDeadlineTimer budget(saveBudgetMs);
    qsizetype savedBytes = 0;
    for (const QString& format : data->formats()) {
        if (contents.formats.size() == maxSavedFormats || budget.hasExpired()) {
            break;
        }
        if (pseudoFormats.contains(format)) {
            continue;
        }
        const QByteArray bytes = data->data(format);
        if (!bytes.isEmpty() && savedBytes + bytes.size() <= maxSavedBytes) {
            savedBytes += bytes.size();
            contents.formats.append({format, bytes});
        }
    }
    return contents;
}

void QtClipboard::restore(const ClipboardContents& contents)
{
    auto* data = new QMimeData;
    for (const ClipboardContents::Format& format : contents.formats) {
        data->setData(format.mimeType, format.data);
    }
    QGuiApplication::clipboard()->setMimeData(data, QClipboard::Clipboard);
}

void QtClipboard::setText(const QString& text)
{
    QGuiApplication::clipboard()->setText(text, QClipboard::Clipboard);
}

void QtClipboard::setTransientText(const QString& text)
{
    auto* data = new ServedText(text, m_serves);
    data->setData(passwordManagerHint, QByteArrayLiteral("secret"));
    QGuiApplication::clipboard()->setMimeData(data, QClipboard::Clipboard);
}

std::optional<QString> QtClipboard::selectionText()
{
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (!clipboard->supportsSelection())
        return std::nullopt;
    const OwnRead own(*m_serves);
    const QString text = clipboard->text(QClipboard::Selection);
    return text.isEmpty() ? std::nullopt : std::optional<QString>(text);
}

void QtClipboard::setSelectionText(const QString& text)
{
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (clipboard->supportsSelection()) {
        clipboard->setMimeData(new ServedText(text, m_serves), QClipboard::Selection);
    }
}

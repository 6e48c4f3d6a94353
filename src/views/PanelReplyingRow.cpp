#include "views/PanelReplyingRow.h"

#include "session/Session.h"
#include "views/ButtonStyles.h"
#include "views/Icons.h"
#include "views/PanelParts.h"
#include "views/PanelView.h"
#include "views/Theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QTextLayout>

namespace {

const QString ellipsis = QStringLiteral("\u2026");

constexpr int padding = 8;
constexpr int symbolSize = 11;
constexpr int closeSize = 9;
// The close button sits closer to the box's right edge than the padding, as its own hover area pads
// it by 4 on each side.
constexpr int rightPadding = padding - 4;
constexpr int closeWidth = closeSize + 8;
constexpr int textWidth = PanelView::panelWidth - 2 * PanelView::padding - padding - symbolSize -
                          2 * PanelParts::innerSpacing - closeWidth - rightPadding;
constexpr int maxLines = 3;

// The text as it fits in `lines` lines of the given width, its last line ended by "…" when cut. The
// lines are broken here, inside a word when one is too long, since the label breaks only between words.
QString clampToLines(const QString& text, const QFont& font, int width, int lines)
{
    QTextLayout layout(text, font);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    QStringList shown;
    bool cut = false;
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        if (shown.size() == lines) {
            cut = true;
            break;
        }
        shown << text.mid(line.textStart(), line.textLength());
    }
    layout.endLayout();
    if (cut) {
        const QFontMetrics metrics(font);
        QString last = metrics.elidedText(shown.last().trimmed() + ellipsis, Qt::ElideRight, width);
        if (!last.endsWith(ellipsis))
            last += ellipsis;
        shown.last() = last;
    }
    return shown.join(u'\n');
}

} // namespace

PanelReplyingRow::PanelReplyingRow(Session& session, QWidget* parent) : QWidget(parent)
{
    auto* layout = PanelParts::rowLayout(this, PanelParts::innerSpacing);
    layout->setContentsMargins(padding, padding, rightPadding, padding);
    m_symbol = new QLabel(this);
    m_symbol->setAccessibleName(tr("Clipboard"));
    m_symbol->setAlignment(Qt::AlignTop);
    m_symbol->setContentsMargins(0, 1, 0, 0);
    m_text = PanelParts::wrappedLabel(11, QFont::Normal, true, this);
    m_text->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    auto* drop = new IconButton(Icons::Symbol::XMark, closeSize, tr("Don't use the clipboard"), this);
    connect(drop, &QAbstractButton::clicked, this, [&session] { session.setCopied(std::nullopt); });
    layout->addWidget(m_symbol, 0, Qt::AlignTop);
    layout->addWidget(m_text, 1);
    layout->addWidget(drop, 0, Qt::AlignTop);
    applyTheme();
    connect(&Theme::Watcher::shared(), &Theme::Watcher::appearanceChanged, this,
            &PanelReplyingRow::applyTheme);
}

void PanelReplyingRow::showMessage(const QString& preview, const QString& toolTip)
{
    m_text->setText(clampToLines(tr("Replying to: ") + preview, m_text->font(), textWidth, maxLines));
    m_text->setToolTip(toolTip);
}

void PanelReplyingRow::applyTheme()
{
    m_symbol->setPixmap(
        Icons::icon(Icons::Symbol::DocOnClipboard, symbolSize, Theme::mutedForeground(), devicePixelRatioF())
            .pixmap(symbolSize, symbolSize));
}

void PanelReplyingRow::paintEvent(QPaintEvent*)
{
    PanelParts::paintRoundedBox(this, 8, Theme::muted());
}

#include "views/PanelHeader.h"

#include "config/Preferences.h"
#include "views/ButtonStyles.h"
#include "views/MorvikMark.h"
#include "views/PanelParts.h"
#include "views/Theme.h"
#include "views/WindowParts.h"

#include <QHBoxLayout>
#include <QLabel>

namespace {

constexpr int markSize = 18;

} // namespace

PanelHeader::PanelHeader(QWidget* parent) : QWidget(parent)
{
    auto* layout = PanelParts::rowLayout(this, 8);
    auto* mark = new MorvikMark(markSize, this);
    mark->setAccessibleName(QStringLiteral("Tavrin"));
    m_title = new QLabel(this);
    m_title->setFont(WindowParts::pixelFont(13, QFont::Medium));
    m_busy = new BusySpinner(this, BusySpinner::panelShape);
    m_appName = PanelParts::captionLabel(this);
    m_autoInsert = new ThemedCheckBox(tr("Auto-insert"), 11, this);
    m_autoInsert->setToolTip(tr("Paste answers as soon as they're ready, without pressing Insert"));
    m_autoInsert->setChecked(Preferences::autoInsert());
    connect(m_autoInsert, &QCheckBox::clicked, this,
            [](bool checked) { Preferences::setAutoInsert(checked); });
    connect(&Preferences::shared(), &Preferences::didChange, this,
            [this] { m_autoInsert->setChecked(Preferences::autoInsert()); });
    layout->addWidget(mark);
    layout->addWidget(m_title);
    layout->addWidget(m_busy);
    layout->addStretch(1);
    layout->addWidget(m_appName);
    layout->addSpacing(4);
    layout->addWidget(m_autoInsert);
}

void PanelHeader::showPhase(const QString& title, bool busy)
{
    m_title->setText(title);
    m_busy->setVisible(busy);
}

void PanelHeader::showApp(const QString& name)
{
    m_appName->setText(name);
    m_appName->setVisible(!name.isEmpty());
}

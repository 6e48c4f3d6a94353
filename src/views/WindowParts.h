#pragma once

#include "views/Icons.h"
#include "views/Theme.h"

#include <QAbstractButton>
#include <QFrame>
#include <QLabel>
#include <QLineEdit>
#include <QList>
#include <QProgressBar>
#include <QVariantAnimation>

class QVBoxLayout;

// The small controls the home, sign-in and pairing windows share, drawn in the theme's colours and
// recoloured when the desktop switches between light and dark.
namespace WindowParts {

// The text sizes of the windows, in pixels.
constexpr int captionSize = 11;
constexpr int calloutSize = 12;
constexpr int bodySize = 13;

QFont pixelFont(int size, QFont::Weight weight = QFont::Normal);

} // namespace WindowParts

// A label in one of the theme's colours.
class ThemedLabel : public QLabel
{
    Q_OBJECT
public:
    ThemedLabel(const QString& text, int pixelSize, QFont::Weight weight, Theme::Role role,
                QWidget* parent = nullptr);

private:
    void applyColour();

    Theme::Role m_role;
};

// A rounded, lightly filled box that groups related rows, with its content padded.
class GroupBox : public QFrame
{
    Q_OBJECT
public:
    explicit GroupBox(QWidget* parent = nullptr);

    QVBoxLayout* content() const { return m_content; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QVBoxLayout* m_content;
};

// A text field with rounded corners in the theme's colours; its placeholder is its accessible name
// unless it is given one.
class RoundedField : public QLineEdit
{
    Q_OBJECT
public:
    explicit RoundedField(const QString& placeholder, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
};

// An on/off switch tinted with the theme's primary colour; its knob slides with the spring.
class ThemedSwitch : public QAbstractButton
{
    Q_OBJECT
public:
    explicit ThemedSwitch(const QString& accessibleName, QWidget* parent = nullptr);

    QSize sizeHint() const override { return {38, 22}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    qreal m_position = 0;
    QVariantAnimation m_slide;
};

// A row of mutually exclusive segments, like a tab bar without pages; segments may be hidden.
class SegmentedPicker : public QWidget
{
    Q_OBJECT
public:
    SegmentedPicker(const QStringList& segments, const QString& accessibleName, QWidget* parent = nullptr);

    int current() const { return m_current; }
    void setCurrent(int index);
    void setSegmentVisible(int index, bool visible);

signals:
    void currentChanged(int index);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QList<QAbstractButton*> m_segments;
    int m_current = 0;
};

// A small arc that turns in the muted foreground colour while something loads: a progress bar without
// a range, so that screen readers announce it as busy. It turns only while it is shown.
class BusySpinner : public QProgressBar
{
    Q_OBJECT
public:
    struct Shape
    {
        int diameter;
        qreal inset;
        qreal stroke;
    };
    static constexpr Shape windowShape{22, 3, 2.2};
    static constexpr Shape panelShape{12, 1.5, 1.8};

    explicit BusySpinner(QWidget* parent = nullptr, Shape shape = windowShape);

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    Shape m_shape;
    QVariantAnimation m_turn;
};

#pragma once

#include "views/Icons.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QPushButton>
#include <QVariantAnimation>
#include <optional>

// A text button drawn by the theme instead of the desktop style: 30 pixels high, rounded by 8, with
// a pressed state that springs in and out. Disabled, it is drawn at 0.4 opacity.
class StyledButton : public QPushButton
{
    Q_OBJECT
    // How far the button is pressed in, 0 (released) to 1, moving with the spring.
    Q_PROPERTY(qreal pressedAmount READ pressedAmount NOTIFY pressedAmountChanged)
public:
    static constexpr int faceHeight = 30;
    static constexpr qreal cornerRadius = 8;
    static constexpr qreal pressedScale = 0.96;
    static constexpr qreal disabledOpacity = 0.4;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }
    qreal pressedAmount() const { return m_pressedAmount; }
    // A symbol drawn before the label, in the label's colour.
    void setSymbol(Icons::Symbol symbol);

signals:
    void pressedAmountChanged();

protected:
    StyledButton(const QString& text, int horizontalPadding, QWidget* parent);

    void paintEvent(QPaintEvent* event) override;
    // Draws the background and label into the button's rectangle, already scaled and faded.
    virtual void paintFace(QPainter& painter, const QRectF& face) = 0;
    // The opacity of the whole button at the current pressed amount.
    virtual qreal opacityWhilePressed() const { return 1.0; }
    void paintLabel(QPainter& painter, const QRectF& face, const QColor& colour);

private:
    void pressChanged();

    int m_padding;
    std::optional<Icons::Symbol> m_symbol;
    qreal m_pressedAmount = 0;
    QVariantAnimation m_press;
};

// The filled button of the main action.
class PrimaryButtonStyle : public StyledButton
{
    Q_OBJECT
public:
    explicit PrimaryButtonStyle(const QString& text, QWidget* parent = nullptr);

protected:
    void paintFace(QPainter& painter, const QRectF& face) override;
    qreal opacityWhilePressed() const override;
};

// The outlined button of every other action; destructive ones carry their label in red.
class OutlineButtonStyle : public StyledButton
{
    Q_OBJECT
public:
    explicit OutlineButtonStyle(const QString& text, bool destructive = false, QWidget* parent = nullptr);

    bool isDestructive() const { return m_destructive; }

protected:
    void paintFace(QPainter& painter, const QRectF& face) override;

private:
    bool m_destructive;
};

// A borderless button showing one of the theme's symbols; its tooltip is its accessible name.
class IconButton : public QAbstractButton
{
    Q_OBJECT
public:
    IconButton(Icons::Symbol symbol, int symbolSize, const QString& toolTip, QWidget* parent = nullptr);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    Icons::Symbol m_symbol;
    int m_symbolSize;
    bool m_hovered = false;
};

// A small check box drawn in the theme's colours: a rounded square, filled with the primary colour
// and ticked when checked.
class ThemedCheckBox : public QCheckBox
{
    Q_OBJECT
public:
    ThemedCheckBox(const QString& text, int pixelSize, QWidget* parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;
    bool hitButton(const QPoint& pos) const override { return rect().contains(pos); }
};

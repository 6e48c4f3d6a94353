#pragma once

#include <QColor>
#include <QFont>
#include <optional>

class QHBoxLayout;
class QLabel;
class QWidget;

// What the panel's rows have in common: their spacing, their kinds of text, their rounded boxes and
// the way a row comes into view.
namespace PanelParts {

// The gap between the controls of one row.
constexpr int innerSpacing = 6;

// A text row that wraps to the panel's width; secondary rows are drawn in the muted colour.
QLabel* wrappedLabel(int size, QFont::Weight weight, bool secondary, QWidget* parent);
// A short muted caption on one line: the application's name, the answer's route.
QLabel* captionLabel(QWidget* parent);
// A horizontal layout that fills `owner` from edge to edge.
QHBoxLayout* rowLayout(QWidget* owner, int spacing);
// Paints `widget` as a box rounded by `radius`; an outline is a one-pixel line just inside its edge.
void paintRoundedBox(QWidget* widget, qreal radius, const QColor& fill,
                     const std::optional<QColor>& outline = std::nullopt);
// Fades `row` in with the theme's spring while it slides `offset` pixels down into place.
void reveal(QWidget* row, qreal offset = 0);

} // namespace PanelParts

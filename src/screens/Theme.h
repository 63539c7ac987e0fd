#pragma once

#include <QList>
#include <QPair>

class QBoxLayout;
class QHBoxLayout;
class QVBoxLayout;
class QButtonGroup;

#include <QColor>
#include <QFont>
#include <QString>

class QLabel;
class QFrame;
class QPushButton;
class QWidget;

// The program's colours and type, shared by every screen.
namespace Theme {

// The accent: an orange red that marks the chosen tool, the chosen file,
// the drop highlight and the large prompt icons.
QColor accent();
// The same colour at an opacity between 0 and 1.
QColor withAlpha(const QColor &color, double alpha);

QColor secondary(); // secondary text and muted symbols
QColor orange();    // restrictions and warnings
QColor green();     // a finished job
QColor red();       // a failed job

// Type sizes, relative to the widget's own font.
enum class Type { Body, Caption, Callout, Headline, Title, Title2, Title3 };
QFont font(Type type, const QFont &base, bool semibold = false);

// A label in the given type and colour.
QLabel *label(const QString &text, Type type, QWidget *parent, bool semibold = false);
void setTextColor(QWidget *widget, const QColor &color);

// The thin horizontal line between a screen's bands (file bar, toolbar, footer).
QFrame *divider(QWidget *parent);

// The band under a document's view: a divider, then a padded column added
// to `layout`, whose first row (returned too) holds the summary and the
// buttons; what goes under that row (a caption, the job bar) is added to
// the column.
struct BottomBand {
    QVBoxLayout *column;
    QHBoxLayout *row;
};
BottomBand bottomBand(QBoxLayout *layout, QWidget *parent, int spacing = 8, int rowSpacing = 12);

// A toolbar button with a symbol (none for an empty name) that leaves the
// keyboard focus where it was when clicked (Tab still reaches it), so the
// keys of the page grid or the page area keep working.
QPushButton *toolButton(const QString &text, const QString &symbol, const QString &objectName,
                        QWidget *parent, const QColor &tint = secondary());

// The filled accent button that marks a screen's main action.
void makeProminent(QPushButton *button, bool large = false);
// A segmented picker of joined buttons, the chosen one in the accent's tint,
// added to `layout`. Each button's id in the group (and its "mode"
// property) is its entry's first value; every button gets objectName.
QButtonGroup *modePicker(QWidget *panel, QBoxLayout *layout,
                         const QList<QPair<int, QString>> &modes, const QString &objectName);

} // namespace Theme

#pragma once

#include <QColor>
#include <QString>
#include <QWidget>

class QLabel;

// A tinted one-paragraph message: a symbol in the colour, the text beside it.
class Banner : public QWidget {
    Q_OBJECT
public:
    Banner(const QString &symbol, const QColor &color, const QString &text,
           QWidget *parent = nullptr);
    QString text() const;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QColor m_color;
    QLabel *m_text = nullptr;
};

// SPDX-License-Identifier: MIT
#include "app/qt/WrappingLabel.h"

#include <QFontMetrics>
#include <QPainter>
#include <QPalette>
#include <QSizePolicy>
#include <QTextLayout>
#include <QTextOption>
#include <algorithm>
#include <cmath>

namespace varnel {
namespace {

/// Lays the text out in lines of `width`; gives its height.
qreal layOut(QTextLayout& layout, int width, Qt::LayoutDirection direction) {
    QTextOption option(Qt::AlignLeading);
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    option.setTextDirection(direction);
    layout.setTextOption(option);
    qreal height = 0;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        line.setPosition({0, height});
        height += line.height();
    }
    layout.endLayout();
    return height;
}

QString withLineSeparators(QString text) {
    return text.replace(QLatin1Char('\n'), QChar(QChar::LineSeparator));
}

}  // namespace

WrappingLabel::WrappingLabel(const QString& text, QWidget* parent) : QLabel(parent) {
    setTextFormat(Qt::PlainText);
    setText(text);
    QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

int WrappingLabel::heightForWidth(int width) const {
    QTextLayout layout(withLineSeparators(text()), font());
    return static_cast<int>(std::ceil(layOut(layout, width, layoutDirection())));
}

QSize WrappingLabel::sizeHint() const {
    const int width = std::max(minimumWidth(), fontMetrics().averageCharWidth() * 40);
    return {width, heightForWidth(width)};
}

QSize WrappingLabel::minimumSizeHint() const {
    return {fontMetrics().averageCharWidth() * 20, fontMetrics().height()};
}

void WrappingLabel::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setPen(palette().color(foregroundRole()));
    QTextLayout layout(withLineSeparators(text()), font());
    layOut(layout, width(), layoutDirection());
    layout.draw(&painter, {0, 0});
}

}  // namespace varnel

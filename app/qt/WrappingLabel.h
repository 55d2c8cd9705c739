// SPDX-License-Identifier: MIT
#pragma once

#include <QLabel>
#include <QSize>
#include <QString>

class QPaintEvent;

namespace varnel {

/// A label of plain text that breaks a line anywhere where no word ends in time: a path may be longer than a screen is
/// wide, and has no blanks. To screen readers it is a label like any other.
class WrappingLabel final : public QLabel {
public:
    explicit WrappingLabel(const QString& text, QWidget* parent = nullptr);

    bool hasHeightForWidth() const final { return true; }
    int heightForWidth(int width) const final;
    QSize sizeHint() const final;
    QSize minimumSizeHint() const final;

protected:
    void paintEvent(QPaintEvent* event) final;
};

}  // namespace varnel

// SPDX-License-Identifier: MIT
#include "app/qt/AlertDialog.h"

#include <QClipboard>
#include <QDialogButtonBox>
#include <QFont>
#include <QFontDatabase>
#include <QFrame>
#include <QGridLayout>
#include <QGuiApplication>
#include <QIcon>
#include <QKeyEvent>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QStyle>
#include <QVBoxLayout>
#include <algorithm>
#include <string>

#include "app/Alert.h"
#include "app/qt/QtText.h"
#include "app/qt/WrappingLabel.h"

namespace varnel {
namespace {

// In points, of which 72 make an inch; a screen has its own number of pixels to the inch.
constexpr int reportWidth = 520;
constexpr int reportHeight = 240;
constexpr int reportFontSize = 11;

constexpr int textWidthInCharacters = 60;

/// How much of the screen's height the texts of an alert may take before they are scrolled.
constexpr int screenPartForText = 3;

}  // namespace

AlertDialog::AlertDialog(const Alert& alert, QWidget* parent) : QDialog(parent) {
    const QString message = QtText::shown(alert.message);
    const QString informativeText = QtText::shown(alert.informativeText);
    allText_ = message + QLatin1String("\n\n") + informativeText;

    setWindowTitle(QGuiApplication::applicationDisplayName());
    // What a screen reader says when the dialog appears.
    setAccessibleName(message);
    setAccessibleDescription(informativeText);

    auto* const grid = new QGridLayout(this);
    auto* const icon = new QLabel(this);
    const int iconSize = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
    const QIcon image = alert.style == Alert::Style::warning ? style()->standardIcon(QStyle::SP_MessageBoxWarning)
                                                             : QGuiApplication::windowIcon();
    icon->setPixmap(image.pixmap(QSize(iconSize, iconSize), devicePixelRatioF()));
    icon->setAccessibleName(alert.style == Alert::Style::warning ? QStringLiteral("Warning") : windowTitle());
    grid->addWidget(icon, 0, 0, Qt::AlignTop);

    grid->addWidget(texts(message, informativeText), 0, 1);

    if (alert.report) {
        const QString report = QtText::shown(*alert.report);
        allText_ += QLatin1String("\n\n") + report;
        grid->addWidget(reportView(report), 1, 0, 1, 2);
        grid->setRowStretch(1, 1);
    }
    grid->addWidget(buttonRow(alert), 2, 0, 1, 2);
    grid->setColumnStretch(1, 1);
    grid->setHorizontalSpacing(2 * style()->pixelMetric(QStyle::PM_LayoutHorizontalSpacing, nullptr, this));
}

QWidget* AlertDialog::texts(const QString& message, const QString& informativeText) {
    auto* const column = new QWidget(this);
    auto* const layout = new QVBoxLayout(column);
    layout->setContentsMargins({});
    const int width = fontMetrics().averageCharWidth() * textWidthInCharacters;
    const auto add = [&](const QString& text, QFont::Weight weight) {
        auto* const label = new WrappingLabel(text, column);
        QFont font = label->font();
        font.setWeight(weight);
        label->setFont(font);
        label->setMinimumSize(width, label->heightForWidth(width));
        layout->addWidget(label);
    };
    add(message, QFont::Bold);
    add(informativeText, QFont::Normal);
    layout->addStretch();

    const int height = layout->minimumSize().height();
    const int most = screen()->availableGeometry().height() / screenPartForText;
    if (height <= most) return column;
    auto* const area = new QScrollArea(this);
    area->setFrameShape(QFrame::NoFrame);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setWidget(column);
    area->setWidgetResizable(true);
    area->setMinimumSize(width + 2 * style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, area), most);
    return area;
}

QWidget* AlertDialog::reportView(const QString& report) {
    auto* const view = new QPlainTextEdit(report, this);
    view->setReadOnly(true);
    // The cursor makes it readable with the keyboard, line by line, also aloud.
    view->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    view->setTabChangesFocus(true);
    view->setLineWrapMode(QPlainTextEdit::NoWrap);
    view->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPointSize(reportFontSize);
    font.setWeight(QFont::Normal);
    view->setFont(font);
    const QSize room = screen()->availableGeometry().size();
    view->setMinimumSize(std::min(reportWidth * logicalDpiX() / 72, room.width() * 4 / 5),
                         std::min(reportHeight * logicalDpiY() / 72, room.height() / 2));
    view->setAccessibleName(QStringLiteral("What will be removed"));
    return view;
}

QWidget* AlertDialog::buttonRow(const Alert& alert) {
    auto* const row = new QDialogButtonBox(this);
    for (const std::string& title : alert.buttons) {
        const bool isFirst = buttons_.isEmpty();
        const QString text = QtText::shown(title).replace(QLatin1Char('&'), QLatin1String("&&"));
        auto* const button =
            row->addButton(text, isFirst ? QDialogButtonBox::AcceptRole : QDialogButtonBox::RejectRole);
        connect(button, &QPushButton::clicked, this, [this, isFirst] { done(isFirst ? Accepted : Rejected); });
        button->setAutoDefault(true);
        buttons_.append(button);
    }
    if (!buttons_.isEmpty()) {
        buttons_.first()->setDefault(true);
        buttons_.first()->setFocus();
    }
    return row;
}

void AlertDialog::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::Copy)) {
        QGuiApplication::clipboard()->setText(allText_);
        return;
    }
    QDialog::keyPressEvent(event);
}

}  // namespace varnel

// SPDX-License-Identifier: MIT
#pragma once

#include <QDialog>
#include <QList>

#include "app/Alert.h"

class QKeyEvent;
class QPushButton;
class QWidget;

namespace varnel {

/// Shows an alert. Its result is QDialog::Accepted for the first button and QDialog::Rejected for every other, for
/// Escape and for the close box.
///
/// A dialog of our own, because Qt's message box gives a report no place above its buttons. "Copy" (Ctrl+C) takes all
/// of its texts along, for whoever wants to ask somebody about them.
class AlertDialog final : public QDialog {
public:
    explicit AlertDialog(const Alert& alert, QWidget* parent = nullptr);

    /// In the order of the alert.
    const QList<QPushButton*>& buttons() const { return buttons_; }

protected:
    void keyPressEvent(QKeyEvent* event) final;

private:
    QWidget* texts(const QString& message, const QString& informativeText);
    QWidget* reportView(const QString& report);
    QWidget* buttonRow(const Alert& alert);

    QString allText_;
    QList<QPushButton*> buttons_;
};

}  // namespace varnel

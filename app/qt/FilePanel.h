// SPDX-License-Identifier: MIT
#pragma once

#include <QFileDialog>
#include <QPushButton>
#include <QString>
#include <optional>
#include <string>

#include "app/Desktop.h"

namespace varnel {

/// A panel in which one file or folder is chosen.
///
/// Qt's own dialog and not the desktop's, because that one takes either files or folders, never both.
class FilePanel final : public QFileDialog {
public:
    explicit FilePanel(const OpenPanel& panel, QWidget* parent = nullptr);

    /// What was chosen, once the panel was accepted.
    const std::optional<std::string>& path() const { return path_; }

    void accept() final;

protected:
    bool eventFilter(QObject* watched, QEvent* event) final;

private:
    /// What stands in the field of names, or the folder that is shown where there is nothing.
    QString selected() const;
    bool mayBeChosen(const QString& path) const;
    void updateButton();

    const bool canChooseDirectories_;
    const bool canChooseFiles_;
    QPushButton* button_ = nullptr;  ///< The one that chooses; the dialog's.
    std::optional<std::string> path_;
};

}  // namespace varnel

// SPDX-License-Identifier: MIT
#pragma once

#include <QFileDialog>
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

private:
    bool mayBeChosen(const QString& path) const;

    const bool canChooseDirectories_;
    const bool canChooseFiles_;
    std::optional<std::string> path_;
};

}  // namespace varnel

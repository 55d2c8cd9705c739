// SPDX-License-Identifier: MIT
#include "app/qt/ActivationToken.h"

#include <QGuiApplication>

namespace varnel::ActivationToken {

void use(const QString& token) {
    // Under Wayland Qt takes it from the environment and nowhere else. Other threads may read that meanwhile: the C
    // library leaves what they look at in its place, but no more is changed than is needed.
    if (token.isEmpty() || !QGuiApplication::platformName().startsWith(QLatin1String("wayland"))) return;
    qputenv("XDG_ACTIVATION_TOKEN", token.toUtf8());
}

}  // namespace varnel::ActivationToken

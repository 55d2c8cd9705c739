// SPDX-License-Identifier: MIT
#include "app/qt/ApplicationService.h"

#include <QDBusMessage>
#include <QDBusVariant>
#include <QVariantList>
#include <expected>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "app/qt/ActivationToken.h"
#include "app/qt/ApplicationAdaptor.h"
#include "app/qt/QtText.h"

namespace varnel {
namespace {

const QLatin1String name("com.quorin.Varnel");
const QLatin1String path("/com/quorin/Varnel");
const QLatin1String interface("org.freedesktop.Application");

// Milliseconds.
constexpr int patience = 10'000;
constexpr int patienceAtTheEnd = 1'000;

/// What lets the running instance come to the front on behalf of this launch.
QVariantMap platformData() {
    QVariantMap data;
    if (qEnvironmentVariableIsSet("DESKTOP_STARTUP_ID")) {
        data.insert(QStringLiteral("desktop-startup-id"), qEnvironmentVariable("DESKTOP_STARTUP_ID"));
    }
    if (qEnvironmentVariableIsSet("XDG_ACTIVATION_TOKEN")) {
        data.insert(QStringLiteral("activation-token"), qEnvironmentVariable("XDG_ACTIVATION_TOKEN"));
    }
    return data;
}

}  // namespace

ApplicationService::ApplicationService(const QDBusConnection& bus) : bus_(bus) {
    new ApplicationAdaptor(this);
}

ApplicationService::Role ApplicationService::takeName() {
    // The object first: nobody can then call one that is not there yet.
    if (!bus_.isConnected() || !bus_.registerObject(path, this, QDBusConnection::ExportAdaptors)) return Role::unknown;
    return bus_.registerService(name) ? Role::first : Role::second;
}

void ApplicationService::leaveName() {
    if (!bus_.isConnected()) return;
    QDBusMessage call =
        QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                       QStringLiteral("org.freedesktop.DBus"), QStringLiteral("ReleaseName"));
    call << QString(name);
    bus_.call(call, QDBus::Block, patienceAtTheEnd);
}

std::expected<void, QString> ApplicationService::handOver(const LaunchArguments& arguments) {
    std::vector<QDBusMessage> calls;
    const auto call = [&calls](const char* method) -> QDBusMessage& {
        return calls.emplace_back(QDBusMessage::createMethodCall(name, path, interface, QLatin1String(method)));
    };
    if (!arguments.urls.empty()) {
        QStringList urls;
        for (const std::string& url : arguments.urls)
            urls.append(QtText::shown(url));
        call("Open") << urls << platformData();
    }
    if (arguments.action) {
        call("ActivateAction") << QtText::shown(*arguments.action) << QVariantList() << platformData();
    }
    if (calls.empty() && !arguments.isInBackground) call("Activate") << platformData();
    for (const QDBusMessage& one : calls) {
        const QDBusMessage answer = bus_.call(one, QDBus::Block, patience);
        if (answer.type() == QDBusMessage::ErrorMessage) {
            return std::unexpected(QLatin1String("the running Varnel does not answer: ") + answer.errorMessage());
        }
    }
    return {};
}

void ApplicationService::provide(Handler handler) {
    handler_ = std::move(handler);
    isProvided_ = true;
    for (const auto& request : std::exchange(waiting_, {}))
        run(request);
}

void ApplicationService::receive(std::function<void(const Handler&)> request, const QVariantMap& platformData) {
    ActivationToken::use(platformData.value(QStringLiteral("activation-token")).toString());
    if (isProvided_) {
        run(request);
    } else {
        waiting_.push_back(std::move(request));
    }
}

void ApplicationService::run(const std::function<void(const Handler&)>& request) {
    QMetaObject::invokeMethod(
        this, [this, request] { request(handler_); }, Qt::QueuedConnection);
}

}  // namespace varnel

// SPDX-License-Identifier: MIT
//
// One instance for each person's session: who owns the name "com.quorin.Varnel" on the session bus is the running one.
// It offers the interface "org.freedesktop.Application" there, through which a second launch, and every other program,
// hands over files to be cleaned.
#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <expected>
#include <functional>
#include <vector>

#include "app/qt/LaunchArguments.h"

namespace varnel {

class ApplicationService final : public QObject {
public:
    /// What to do with the requests of others. Called when the event loop is back, not from within a call.
    struct Handler {
        std::function<void()> activate;
        std::function<void(const std::vector<std::string>& urls)> open;
        std::function<void(const std::string& name)> activateAction;
    };

    explicit ApplicationService(const QDBusConnection& bus);

    enum class Role {
        first,    ///< The running instance, from now on.
        second,   ///< Another one is running.
        unknown,  ///< There is no bus to ask.
    };

    /// Becomes the running instance, unless there is one. Requests of others wait for provide().
    Role takeName();

    /// Is the running instance no longer: the next launch becomes it. Answers that were given before have then arrived.
    void leaveName();

    /// Hands a launch over to the running instance. The error is a line for people.
    std::expected<void, QString> handOver(const LaunchArguments& arguments);

    /// From now on requests are answered, those that came before first.
    void provide(Handler handler);

    /// A request, as the adaptor received it.
    void receive(std::function<void(const Handler&)> request, const QVariantMap& platformData);

private:
    void run(const std::function<void(const Handler&)>& request);

    QDBusConnection bus_;
    Handler handler_;
    bool isProvided_ = false;
    std::vector<std::function<void(const Handler&)>> waiting_;
};

}  // namespace varnel

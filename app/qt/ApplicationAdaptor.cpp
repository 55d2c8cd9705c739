// SPDX-License-Identifier: MIT
#include "app/qt/ApplicationAdaptor.h"

#include <string>
#include <vector>

#include "app/qt/ApplicationService.h"
#include "app/qt/QtText.h"

namespace varnel {

using Handler = ApplicationService::Handler;

ApplicationAdaptor::ApplicationAdaptor(ApplicationService* service)
    : QDBusAbstractAdaptor(service), service_(service) {}

void ApplicationAdaptor::Activate(const QVariantMap& platformData) {
    service_->receive([](const Handler& handler) { handler.activate(); }, platformData);
}

void ApplicationAdaptor::Open(const QStringList& uris, const QVariantMap& platformData) {
    std::vector<std::string> urls;
    for (const QString& uri : uris)
        urls.push_back(QtText::utf8(uri));
    service_->receive([urls](const Handler& handler) { handler.open(urls); }, platformData);
}

void ApplicationAdaptor::ActivateAction(const QString& actionName, const QVariantList& /*parameter*/,
                                        const QVariantMap& platformData) {
    service_->receive([name = QtText::utf8(actionName)](const Handler& handler) { handler.activateAction(name); },
                      platformData);
}

}  // namespace varnel

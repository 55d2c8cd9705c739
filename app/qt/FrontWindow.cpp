// SPDX-License-Identifier: MIT
#include "app/qt/FrontWindow.h"

#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QWidget>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace varnel::FrontWindow {
namespace {

struct Free {
    void operator()(void* answer) const { std::free(answer); }
};

xcb_atom_t atom(xcb_connection_t* connection, std::string_view name) {
    const auto cookie =
        xcb_intern_atom(connection, /*only_if_exists=*/0, static_cast<std::uint16_t>(name.size()), name.data());
    const std::unique_ptr<xcb_intern_atom_reply_t, Free> answer(xcb_intern_atom_reply(connection, cookie, nullptr));
    return answer ? answer->atom : xcb_atom_t{XCB_ATOM_NONE};
}

void activate(xcb_connection_t* connection, xcb_window_t window) {
    constexpr std::uint32_t fromBar = 2;
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = atom(connection, "_NET_ACTIVE_WINDOW");
    message.data.data32[0] = fromBar;
    message.data.data32[1] = XCB_CURRENT_TIME;
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    xcb_send_event(connection, /*propagate=*/0, root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(connection);
}

}  // namespace

void bring(QWidget& window) {
    window.raise();
    if (window.isActiveWindow()) return;
    window.activateWindow();
    if (const auto* const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>()) {
        activate(x11->connection(), static_cast<xcb_window_t>(window.winId()));
    }
}

}  // namespace varnel::FrontWindow

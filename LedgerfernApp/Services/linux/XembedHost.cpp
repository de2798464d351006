#include "Services/linux/XembedHost.h"

#include <xcb/xcb.h>

#include <QGuiApplication>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

namespace ledgerfern {

namespace {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

xcb_connection_t* connection() {
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 != nullptr ? x11->connection() : nullptr;
}

std::string selectionName() {
    char* host = nullptr;
    int display = 0, screen = 0;
    xcb_parse_display(nullptr, &host, &display, &screen);
    const std::unique_ptr<char, Free> owner(host);
    return "_NET_SYSTEM_TRAY_S" + std::to_string(screen);
}

std::uint32_t atom(xcb_connection_t* server, const std::string& name) {
    const auto cookie = xcb_intern_atom(server, 0, static_cast<std::uint16_t>(name.size()), name.data());
    const std::unique_ptr<xcb_intern_atom_reply_t, Free> reply(
        xcb_intern_atom_reply(server, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

}  // namespace

XembedHost::XembedHost(std::function<void()> onAppeared)
    : onAppeared_(std::move(onAppeared)), server_(connection()) {
    if (server_ == nullptr) return;
    selection_ = atom(server_, selectionName());
    manager_ = atom(server_, "MANAGER");
    qGuiApp->installNativeEventFilter(this);
}

XembedHost::~XembedHost() {
    if (server_ != nullptr) qGuiApp->removeNativeEventFilter(this);
}

bool XembedHost::isThere() const {
    if (server_ == nullptr) return false;
    const auto cookie = xcb_get_selection_owner(server_, selection_);
    const std::unique_ptr<xcb_get_selection_owner_reply_t, Free> reply(
        xcb_get_selection_owner_reply(server_, cookie, nullptr));
    return reply && reply->owner != XCB_WINDOW_NONE;
}

// Qt listens for these messages itself, so that they arrive.
bool XembedHost::nativeEventFilter(const QByteArray& eventType, void* message, qintptr* /*result*/) {
    if (eventType != "xcb_generic_event_t") return false;
    const auto* event = static_cast<const xcb_client_message_event_t*>(message);
    constexpr int sent = 0x80;  // set where another client sent it
    if ((event->response_type & ~sent) == XCB_CLIENT_MESSAGE && event->type == manager_ &&
        event->data.data32[1] == selection_)
        onAppeared_();
    return false;
}

}  // namespace ledgerfern

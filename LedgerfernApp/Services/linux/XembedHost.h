#pragma once

#include <QAbstractNativeEventFilter>
#include <cstdint>
#include <functional>

struct xcb_connection_t;

namespace ledgerfern {

/// The older kind of tray, which takes in windows of the X server. Never there without such a server. Main
/// thread.
class XembedHost : public QAbstractNativeEventFilter {
public:
    /// `onAppeared` is called from the event loop when one announces itself.
    explicit XembedHost(std::function<void()> onAppeared);
    ~XembedHost() override;
    XembedHost(const XembedHost&) = delete;
    XembedHost& operator=(const XembedHost&) = delete;

    bool isThere() const;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    std::function<void()> onAppeared_;
    xcb_connection_t* server_ = nullptr;  // null: there is none
    std::uint32_t selection_ = 0;         // which the host owns
    std::uint32_t manager_ = 0;  // the message by which owners of such selections announce themselves
};

}  // namespace ledgerfern

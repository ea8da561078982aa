// Asked of the X server, which is the only one that knows of other programs' windows.
#include "beside.h"

#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QScreen>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace beside {
namespace {

constexpr int kUsualApplication = 900, kGap = 4, kUsualTop = 40;

template <typename T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;

/// A connection of its own: a panel asks a few times as it starts.
class Display {
public:
    Display() : connection_(xcb_connect(nullptr, nullptr)) {}
    ~Display() { xcb_disconnect(connection_); }
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    bool works() const { return xcb_connection_has_error(connection_) == 0; }
    xcb_window_t root() const { return xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root; }

    /// The 32-bit figures of a window's property, none where it has no such property.
    std::vector<std::uint32_t> property(xcb_window_t window, const char* name) const {
        const auto length = static_cast<std::uint16_t>(std::strlen(name));
        const Reply<xcb_intern_atom_reply_t> atom(
            xcb_intern_atom_reply(connection_, xcb_intern_atom(connection_, 1, length, name), nullptr), &std::free);
        if (!atom || atom->atom == XCB_ATOM_NONE)
            return {};
        const Reply<xcb_get_property_reply_t> reply(
            xcb_get_property_reply(
                connection_, xcb_get_property(connection_, 0, window, atom->atom, XCB_GET_PROPERTY_TYPE_ANY, 0, 4096),
                nullptr),
            &std::free);
        if (!reply || reply->format != 32)
            return {};
        const auto* values = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
        return {values, values + xcb_get_property_value_length(reply.get()) / 4};
    }

    /// Without its frame; pixels of the server.
    QRect geometry(xcb_window_t window) const {
        const Reply<xcb_get_geometry_reply_t> size(
            xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, window), nullptr), &std::free);
        const Reply<xcb_translate_coordinates_reply_t> corner(
            xcb_translate_coordinates_reply(connection_, xcb_translate_coordinates(connection_, window, root(), 0, 0),
                                            nullptr),
            &std::free);
        if (!size || !corner)
            return {};
        return {corner->dst_x, corner->dst_y, size->width, size->height};
    }

private:
    xcb_connection_t* connection_;
};

}  // namespace

QRect placeOf(const QRect& screen, const QRect& application, const QSize& wide, const QSize& narrow,
              const QSize& frame) {
    const QRect other = application.isEmpty() ? QRect(screen.left(), screen.top() + kUsualTop, kUsualApplication, 1)
                                              : application.intersected(screen);
    const int right = screen.right() - other.right() - kGap, left = other.left() - screen.left() - kGap;
    const QSize size = std::max(right, left) - frame.width() >= wide.width() ? wide : narrow;
    const QSize whole = size + frame;
    const int x = right >= left ? std::min(other.right() + 1 + kGap, screen.right() + 1 - whole.width())
                                : std::max(other.left() - kGap - whole.width(), screen.left());
    const int height = std::min(whole.height(), screen.height());
    const int y = std::clamp(other.top(), screen.top(), screen.bottom() + 1 - height);
    return {x, y, size.width(), height - frame.height()};
}

QRect windowOf(qint64 process) {
    if (process <= 0 || QGuiApplication::platformName() != "xcb")
        return {};
    const Display display;
    if (!display.works())
        return {};
    for (const xcb_window_t window : display.property(display.root(), "_NET_CLIENT_LIST")) {
        const auto owner = display.property(window, "_NET_WM_PID");
        if (owner.empty() || owner[0] != process || !display.property(window, "WM_TRANSIENT_FOR").empty())
            continue;
        QRect place = display.geometry(window);
        const auto frame = display.property(window, "_NET_FRAME_EXTENTS");
        if (frame.size() == 4)
            place.adjust(-static_cast<int>(frame[0]), -static_cast<int>(frame[2]), static_cast<int>(frame[1]),
                         static_cast<int>(frame[3]));
        const qreal ratio = QGuiApplication::primaryScreen()->devicePixelRatio();
        return {(QPointF(place.topLeft()) / ratio).toPoint(), (QSizeF(place.size()) / ratio).toSize()};
    }
    return {};
}

}  // namespace beside

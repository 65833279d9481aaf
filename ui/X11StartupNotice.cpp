#include "X11StartupNotice.h"

#include <cstdlib>
#include <cstring>
#include <xcb/xcb.h>

namespace {

xcb_atom_t internAtom(xcb_connection_t* connection, const char* name)
{
    xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 0, uint16_t(std::strlen(name)), name), nullptr);
    const xcb_atom_t atom = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    std::free(reply);
    return atom;
}

// A startup notification message goes to the root window in pieces of 20 bytes, the first
// marked as a beginning, the text ending in a zero byte.
void sendStartupMessage(xcb_connection_t* connection, xcb_window_t root, xcb_window_t sender,
                        const QByteArray& text)
{
    const xcb_atom_t begin = internAtom(connection, "_NET_STARTUP_INFO_BEGIN");
    const xcb_atom_t more = internAtom(connection, "_NET_STARTUP_INFO");
    const QByteArray whole = text + '\0';
    for (int offset = 0; offset < whole.size(); offset += 20) {
        xcb_client_message_event_t event = {};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 8;
        event.window = sender;
        event.type = offset == 0 ? begin : more;
        std::memcpy(event.data.data8, whole.constData() + offset,
                    size_t(qMin(20, int(whole.size()) - offset)));
        xcb_send_event(connection, 0, root, XCB_EVENT_MASK_PROPERTY_CHANGE,
                       reinterpret_cast<const char*>(&event));
    }
}

// Values in startup messages are quoted; quotes and backslashes inside are escaped.
QByteArray quoted(const QByteArray& value)
{
    QByteArray result = "\"";
    for (const char c : value) {
        if (c == '"' || c == '\\')
            result += '\\';
        result += c;
    }
    return result + '"';
}

} // namespace

void X11StartupNotice::complete(unsigned long window, const QByteArray& startupId)
{
    int screenNumber = 0;
    xcb_connection_t* connection = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        return;
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; screens.rem > 0 && screenNumber > 0; --screenNumber)
        xcb_screen_next(&screens);
    if (screens.rem > 0) {
        const xcb_atom_t property = internAtom(connection, "_NET_STARTUP_ID");
        const xcb_atom_t utf8 = internAtom(connection, "UTF8_STRING");
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, xcb_window_t(window), property, utf8, 8,
                            uint32_t(startupId.size()), startupId.constData());
        sendStartupMessage(connection, screens.data->root, xcb_window_t(window),
                           "remove: ID=" + quoted(startupId));
    }
    xcb_flush(connection);
    xcb_disconnect(connection);
}

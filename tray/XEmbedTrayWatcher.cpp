#include "XEmbedTrayWatcher.h"

#include <QByteArray>
#include <QSocketNotifier>

#include <cstdlib>
#include <memory>
#include <xcb/xcb.h>

namespace {

template <typename Reply> using ReplyPointer = std::unique_ptr<Reply, decltype(&std::free)>;

xcb_atom_t internAtom(xcb_connection_t* connection, const QByteArray& name)
{
    const ReplyPointer<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(
            connection, xcb_intern_atom(connection, 0, uint16_t(name.size()), name.constData()), nullptr),
        &std::free);
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

xcb_window_t rootWindow(xcb_connection_t* connection, int screen)
{
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; screens.rem > 0 && screen > 0; --screen)
        xcb_screen_next(&screens);
    return screens.rem > 0 ? screens.data->root : xcb_window_t(XCB_WINDOW_NONE);
}

} // namespace

XEmbedTrayWatcher::XEmbedTrayWatcher(QObject* parent)
    : QObject(parent)
{
    int screen = 0;
    xcb_connection_t* connection = xcb_connect(nullptr, &screen);
    const xcb_window_t root = xcb_connection_has_error(connection) ? xcb_window_t(XCB_WINDOW_NONE)
                                                                   : rootWindow(connection, screen);
    if (root == XCB_WINDOW_NONE) {
        xcb_disconnect(connection);
        return;
    }
    m_connection = connection;
    m_selection = internAtom(connection, "_NET_SYSTEM_TRAY_S" + QByteArray::number(screen));
    m_managerMessage = internAtom(connection, "MANAGER");
    // A new manager announces itself with a client message to the root window, sent to those who
    // listen for its structure changes; the root window changes structure only when the screen
    // is reconfigured, so this costs nothing while idle.
    const uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection, root, XCB_CW_EVENT_MASK, &mask);
    xcb_flush(connection);

    m_notifier = new QSocketNotifier(xcb_get_file_descriptor(connection), QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &XEmbedTrayWatcher::readEvents);
}

XEmbedTrayWatcher::~XEmbedTrayWatcher()
{
    if (!m_connection)
        return;
    // The notifier goes before the descriptor it watches.
    delete m_notifier;
    xcb_disconnect(m_connection);
}

bool XEmbedTrayWatcher::isManagerPresent()
{
    if (!m_connection || m_selection == XCB_ATOM_NONE)
        return false;
    const ReplyPointer<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(m_connection, xcb_get_selection_owner(m_connection, m_selection),
                                      nullptr),
        &std::free);
    // Waiting for the reply may have queued an announcement that the notifier will not see.
    QMetaObject::invokeMethod(this, &XEmbedTrayWatcher::readEvents, Qt::QueuedConnection);
    return reply && reply->owner != XCB_WINDOW_NONE;
}

void XEmbedTrayWatcher::readEvents()
{
    bool appeared = false;
    while (xcb_generic_event_t* event = xcb_poll_for_event(m_connection)) {
        if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE) {
            const auto* message = reinterpret_cast<const xcb_client_message_event_t*>(event);
            appeared = appeared
                || (message->type == m_managerMessage && message->format == 32
                    && message->data.data32[1] == m_selection);
        }
        std::free(event);
    }
    // A display that went away would wake the notifier for ever.
    if (xcb_connection_has_error(m_connection))
        m_notifier->setEnabled(false);
    if (appeared)
        emit managerAppeared();
}

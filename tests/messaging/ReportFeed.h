#pragma once

#include "messaging/MessageProcessor.h"
#include "messaging/MessageTransport.h"
#include "tray/WardletApp.h"

#include <QByteArray>
#include <QDataStream>
#include <QStringList>
#include <QVariant>

// Shared by the status-service tests: daemon reports go in as raw frames through a real
// processor, and what the application announces comes out as "name=value" lines in order.
namespace ReportFeed {

inline QStringList events;

template <typename Arg> void watch(void (WardletApp::*signal)(Arg), const char* name)
{
    QObject::connect(qobject_cast<WardletApp*>(qApp), signal, [name](Arg value) {
        events << QString::fromLatin1(name) + '=' + QVariant(value).toString();
    });
}

// Big-endian 32-bit words, as the daemons write them.
inline QByteArray words(std::initializer_list<quint32> values)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    for (const quint32 value : values)
        out << value;
    return bytes;
}

// Frames only come in here, so the processor never calls it.
class NoTransport : public MessageTransport
{
public:
    long read(void*, long, int*) override { return 0; }
    long write(const void*, long, int*) override { return 0; }
    void requestWrite() override { }
};

// Hands one frame with this body to the service, which must be registered under `id`, and
// returns what the application announced meanwhile. Returns nothing but a failure line when
// the service or the frame was not taken.
inline QStringList deliver(MessageService* service, int id, const QByteArray& body)
{
    NoTransport transport;
    MessageProcessor processor(&transport);
    if (processor.registerService(service) != id)
        return {QStringLiteral("service not registered under %1").arg(id)};
    events.clear();
    const QByteArray frame = words({0, quint32(id), 0, 1, quint32(body.size())}) + body;
    const auto* bytes = reinterpret_cast<const unsigned char*>(frame.constData());
    if (processor.receiveData(bytes, int(frame.size())) != 1)
        return {QStringLiteral("frame not taken")};
    return events;
}

} // namespace ReportFeed

#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

class Message;
class QSocketNotifier;

// One simulated daemon endpoint: a listening abstract socket and at most one client, the
// newest, read and written without blocking.
class SimChannel : public QObject
{
    Q_OBJECT

public:
    // label names the channel in the log ("kvs", "pdx"); serviceId goes into every frame sent.
    SimChannel(const QString& label, const QByteArray& name, int serviceId, QObject* parent = nullptr);
    ~SimChannel() override;

    const QString& label() const { return _label; }
    const QByteArray& name() const { return _name; }
    int serviceId() const { return _serviceId; }
    bool isListening() const { return _listenFd != -1; }
    bool isConnected() const { return _fd != -1; }

    // Does nothing when already listening; false with a message in error otherwise.
    bool listen(QString& error);
    // Also drops the client.
    void stopListening();
    void drop();

    // Frames the body with the next sequence number. Returns that number, or 0 with no client.
    int send(const QByteArray& body);
    // Bytes exactly as given, for feeding the tray broken frames. False with no client.
    bool sendRaw(const QByteArray& bytes);

signals:
    void connected();
    void disconnected();
    void frameReceived(const Message& message);
    // The client broke the framing and has been dropped.
    void protocolError(const QString& message);

private:
    void acceptClient();
    void readClient();
    void flush();
    void closeClient();
    // Hands out every complete frame buffered; false once the client is gone.
    bool deliverFrames();

    QString _label;
    QByteArray _name;
    int _serviceId;
    int _sequence = 0;
    int _listenFd = -1;
    int _fd = -1;
    QSocketNotifier* _listenNotifier = nullptr;
    QSocketNotifier* _readNotifier = nullptr;
    QSocketNotifier* _writeNotifier = nullptr;
    QByteArray _in;
    QByteArray _out;
};

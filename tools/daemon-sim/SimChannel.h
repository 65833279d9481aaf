#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

class Message;
class QSocketNotifier;

// One simulated daemon endpoint: a listening abstract socket and at most one client, the
// newest, read and written without blocking.
class SimChannel final : public QObject
{
    Q_OBJECT

public:
    // label names the channel in the log ("kvs", "pdx"); serviceId goes into every frame sent.
    SimChannel(const QString& label, const QByteArray& name, int serviceId, QObject* parent = nullptr);
    ~SimChannel() override;

    const QString& label() const { return m_label; }
    const QByteArray& name() const { return m_name; }
    int serviceId() const { return m_serviceId; }
    bool isListening() const { return m_listenFd != -1; }
    bool isConnected() const { return m_fd != -1; }

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
    void listening();
    void stoppedListening();
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

    QString m_label;
    QByteArray m_name;
    int m_serviceId;
    int m_sequence = 0;
    int m_listenFd = -1;
    int m_fd = -1;
    QSocketNotifier* m_listenNotifier = nullptr;
    QSocketNotifier* m_readNotifier = nullptr;
    QSocketNotifier* m_writeNotifier = nullptr;
    QByteArray m_in;
    QByteArray m_out;
};

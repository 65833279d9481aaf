#pragma once

#include "MessageService.h"
#include "ProtectionStates.h"

#include <QObject>
#include <QString>

// The management client's side of its channel ("PDX" in its own messages): turns its server,
// group, location and policy reports into signals. Reports too short for what they announce
// are dropped.
class ManagementService final : public QObject, public MessageService
{
    Q_OBJECT

public:
    static constexpr int Id = 3;

    explicit ManagementService(QObject* parent = nullptr);

    int serviceId() const override { return Id; }
    void handleMessage(const Message& message) override;

signals:
    // The server's address, when the client is online; then its connected time and the state.
    void serverReported(const QString& server);
    void stateReported(ManagementState state);
    // When the client last reached the server, in seconds since 1970 (UTC); 0 for none.
    void connectedTimeReported(qint64 time);
    void groupReported(const QString& group);
    void locationReported(const QString& location);
    void policyNumberReported(const QString& policyNumber);

private:
    void handleServerStatus(const unsigned char* data, int length);
    void handleConnectedTime(const unsigned char* data, int length);
};

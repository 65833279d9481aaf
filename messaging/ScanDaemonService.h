#pragma once

#include "Alert.h"
#include "DefinitionsRelease.h"
#include "MessageService.h"
#include "ProtectionStates.h"

#include <QObject>
#include <QString>

// The scan daemon's side of its channel ("KVS" in its own messages): turns its status,
// versions, scan and alert reports into signals. Short bodies give defaults, unknown ids are
// ignored, and nothing is ever read past a body's end.
class ScanDaemonService final : public QObject, public MessageService
{
    Q_OBJECT

public:
    static constexpr int Id = 2;

    explicit ScanDaemonService(QObject* parent = nullptr);

    int serviceId() const override { return Id; }
    void handleMessage(const Message& message) override;

signals:
    // A status report gives these four, in this order; showIcon only when the daemon sends it.
    void scannerStateReported(ScannerState state);
    void runningReported(bool running);
    void updateAllowedReported(bool allowed);
    void showIconReported(bool show);

    void productVersionReported(const QString& version);
    void engineVersionReported(const QString& version);
    // The definitions' version as the daemon words it; a newer daemon follows it with the date.
    void definitionsVersionReported(const QString& version);
    void definitionsReleaseReported(const DefinitionsRelease& release);
    void scanStatusReported(int status);
    void alertReported(const Alert& alert);

private:
    void handleStatus(const unsigned char* body, int length);
    void handleVersions(const unsigned char* body, int length);
};

#pragma once

#include "MessageService.h"
#include "ui/Alert.h"

class WardletApp;

// The scan daemon's channel: turns its status, version, scan and alert reports into the
// application's state.
class KvsStatusService : public MessageService
{
public:
    // app is not owned and must outlive the service.
    explicit KvsStatusService(WardletApp* app);

    int serviceId() const override;
    int serviceWord() const override;
    void handleMessage(Message* message) override;

    // data is an alert record: the body after its messageId.
    virtual void handleAlert(const unsigned char* data, int length);

    // Reads as much of an alert record as is there; whatever is missing or malformed keeps
    // its default.
    static qelUI::Alert parseAlert(const unsigned char* data, int length);

private:
    void handleStatus(const unsigned char* body, int length);
    void handleVersions(const unsigned char* body, int length);
    void handleScanStatus(const unsigned char* body, int length);

    WardletApp* _app;
};

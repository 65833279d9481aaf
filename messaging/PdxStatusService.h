#pragma once

#include "MessageService.h"

class WardletApp;

// The management client's channel: turns its server, group, location and policy reports into
// the application's state.
class PdxStatusService : public MessageService
{
public:
    // app is not owned and must outlive the service.
    explicit PdxStatusService(WardletApp* app);

    int serviceId() const override;
    int serviceWord() const override;
    void handleMessage(Message* message) override;

    // Each gets the body after its messageId. A report too short for what it announces is dropped.
    virtual void handleServerStatus(const unsigned char* data, int length);
    virtual void handleGroup(const unsigned char* data, int length);
    virtual void handleConnectedTime(const unsigned char* data, int length);
    virtual void handleLocation(const unsigned char* data, int length);
    virtual void handlePolicyNumber(const unsigned char* data, int length);

private:
    WardletApp* _app;
};

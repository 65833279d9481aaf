#pragma once

// The warnings about the update tool, each waited on until the user has read it.
class UpdateWarning final
{
public:
    static void startFailed();
    static void runFailed();
};

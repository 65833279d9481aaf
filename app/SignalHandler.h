#pragma once

class WardletApp;

// The application the signal handler forwards to; null whenever the event loop cannot run.
void setSignalTarget(WardletApp* app);

// For SIGUSR2, SIGINT and SIGTERM. It only writes a token into the application's signal
// bridge, never blocking; without an application, SIGINT and SIGTERM end the process.
void signalHandler(int signal);

#pragma once

#include <QFile>
#include <QTemporaryFile>

#include <syslog.h>
#include <unistd.h>

// What the code under test writes to syslog, caught from standard error while this lives.
class SyslogCapture final
{
public:
    SyslogCapture()
    {
        openlog("test", LOG_PERROR, LOG_USER);
        m_file.open();
        m_standardError = ::dup(2);
        ::dup2(m_file.handle(), 2);
    }
    ~SyslogCapture()
    {
        ::dup2(m_standardError, 2);
        ::close(m_standardError);
        closelog();
    }
    SyslogCapture(const SyslogCapture&) = delete;
    SyslogCapture& operator=(const SyslogCapture&) = delete;

    QByteArray text() const
    {
        QFile file(m_file.fileName());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private:
    QTemporaryFile m_file;
    int m_standardError = -1;
};

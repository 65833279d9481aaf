#pragma once

#include <QString>

#include <ctime>

namespace qelUI {

// One alert as the scan daemon reports it: a time, nine text fields and the template
// that turns them into the text the user reads.
class Alert
{
public:
    Alert() = default;
    Alert(const Alert&) = default;
    Alert& operator=(const Alert&) = default;
    virtual ~Alert() = default;

    // Replaces out with the expansion of format.
    void formatMessage(QString& out) const;

    time_t time = 0;
    QString fieldL;
    QString fieldE;
    QString fieldV;
    QString fieldP;
    QString fieldC;
    QString fieldS;
    QString fieldN;
    QString fieldA;
    QString fieldF;
    QString format = QStringLiteral("");
};

} // namespace qelUI

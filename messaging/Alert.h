#pragma once

#include <QMetaType>
#include <QString>

#include <ctime>

// One alert as the scan daemon reports it: a time, nine text fields and the template that
// turns them into the text the user reads. The fields carry whatever the daemon put there;
// they only differ by the letter that inserts them into the template.
class Alert final
{
public:
    // Reads as much of an alert record as is there; whatever is missing or malformed keeps
    // its default.
    static Alert fromRecord(const unsigned char* data, int length);

    // Longer expanded texts are cut, ending in an ellipsis: no one reads that far, and a template
    // that repeats a long field must not take the desktop's memory.
    static constexpr int MaxTextLength = 16 * 1024;

    // The template expanded: ~X inserts a field (either case), ~T the given text of the alert's
    // time as the reader's clock shows it, \t a tab, \r and \n a line end.
    QString text(const QString& timeText) const;

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

Q_DECLARE_METATYPE(Alert)

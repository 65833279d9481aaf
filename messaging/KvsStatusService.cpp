#include "KvsStatusService.h"

#include "BigEndian.h"
#include "Message.h"
#include "MessageIds.h"
#include "tray/WardletApp.h"

#include <QCoreApplication>
#include <QDate>
#include <QLocale>

#include <climits>
#include <cstdint>
#include <ctime>

namespace {

// Where the next field starts, and how many bytes of the body are left from there.
struct BodyReader
{
    const unsigned char* at;
    int left;

    void skip(int count)
    {
        at += count;
        left -= count;
    }
};

// Texts arrive as a count that includes the trailing zero byte, then the bytes.
QString textWithoutTerminator(const unsigned char* bytes, int count)
{
    return QString::fromUtf8(reinterpret_cast<const char*>(bytes), count - 1);
}

QString definitionsText(uint32_t day, uint32_t month, uint32_t year, int32_t revision)
{
    if (year == 0)
        return QCoreApplication::translate("DefsFormat", "Waiting for update");
    // Values that do not fit an int are no date; they must not wrap into negative years.
    QDate date;
    if (year <= INT_MAX && month <= INT_MAX && day <= INT_MAX)
        date = QDate(int(year), int(month), int(day));
    // An invalid date reads as no date at all, whatever the Qt release would render for it.
    const QString dateText
        = date.isValid() ? QLocale::system().toString(date, QLocale::ShortFormat) : QString();
    // Both arguments at once, so a '%' in the locale's date cannot be taken for a marker.
    return QCoreApplication::translate("DefsFormat", "%1 rev. %2").arg(dateText, QString::number(revision));
}

} // namespace

KvsStatusService::KvsStatusService(WardletApp* app)
    : _app(app)
{ }

int KvsStatusService::serviceId() const
{
    return 2;
}

int KvsStatusService::serviceWord() const
{
    return 0;
}

void KvsStatusService::handleMessage(Message* message)
{
    const unsigned char* body = message->data;
    const int length = message->length;
    if (length < 4)
        return;
    switch (BigEndian::readU32(body)) {
    case KvsStatusReport:
        handleStatus(body, length);
        break;
    case KvsAlert:
        if (length > 4)
            handleAlert(body + 4, length - 4);
        break;
    case KvsVersionsReport:
        handleVersions(body, length);
        break;
    case KvsScanStatusReport:
        handleScanStatus(body, length);
        break;
    default:
        break;
    }
}

void KvsStatusService::handleStatus(const unsigned char* body, int length)
{
    // Older daemons send fewer words; a word counts only when its last byte arrived.
    const auto word = [body, length](int offset, uint32_t fallback) {
        return offset + 4 <= length ? BigEndian::readU32(body + offset) : fallback;
    };
    _app->setVGStatus(VGEnabledStatus(int(word(4, VGMalfunctioning))));
    _app->setKVSStatus(word(8, 0) != 0);
    _app->setNRAllowed(word(12, 0) != 0);
    // The icon setting is saved, so a daemon that does not know it must not overwrite it.
    if (length >= 20)
        _app->setShowIcon(word(16, 0) != 0);
}

void KvsStatusService::handleVersions(const unsigned char* body, int length)
{
    using Setter = void (WardletApp::*)(const QString&);
    const Setter setters[]
        = {&WardletApp::setProductVersion, &WardletApp::setEngineVersion, &WardletApp::setDefsVersion};
    BodyReader in{body + 4, length - 4};
    for (const Setter setter : setters) {
        if (in.left < 4)
            return;
        const int32_t count = BigEndian::readI32(in.at);
        in.skip(4);
        // A count that does not fit leaves its text unset; the next count follows right after it.
        if (count >= 1 && count <= in.left) {
            (_app->*setter)(textWithoutTerminator(in.at, count));
            in.skip(count);
        }
    }
    if (in.left < 16)
        return;
    _app->setDefsVersion(definitionsText(BigEndian::readU32(in.at), BigEndian::readU32(in.at + 4),
                                         BigEndian::readU32(in.at + 8), BigEndian::readI32(in.at + 12)));
}

void KvsStatusService::handleScanStatus(const unsigned char* body, int length)
{
    _app->setScanStatus(length >= 8 ? BigEndian::readI32(body + 4) : 0);
}

void KvsStatusService::handleAlert(const unsigned char* data, int length)
{
    _app->displayAlert(parseAlert(data, length));
}

qelUI::Alert KvsStatusService::parseAlert(const unsigned char* data, int length)
{
    qelUI::Alert alert;
    BodyReader in{data, length};
    if (in.left < 4)
        return alert;
    alert.time = time_t(BigEndian::readI32(in.at));
    in.skip(4);

    QString* const fields[] = {&alert.fieldL, &alert.fieldE, &alert.fieldV, &alert.fieldP, &alert.fieldC,
                               &alert.fieldS, &alert.fieldN, &alert.fieldA, &alert.fieldF, &alert.format};
    for (QString* field : fields) {
        if (in.left < 4)
            break;
        const int32_t count = BigEndian::readI32(in.at);
        in.skip(4);
        if (count < 1)
            continue;
        // The rest of the record cannot be trusted once a count overruns it.
        if (count > in.left)
            break;
        *field = textWithoutTerminator(in.at, count);
        in.skip(count);
    }
    return alert;
}

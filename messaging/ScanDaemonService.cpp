#include "ScanDaemonService.h"

#include "BodyReader.h"
#include "Message.h"
#include "MessageIds.h"

#include <climits>

ScanDaemonService::ScanDaemonService(QObject* parent)
    : QObject(parent)
{ }

void ScanDaemonService::handleMessage(const Message& message)
{
    if (message.length < 4)
        return;
    switch (qFromBigEndian<quint32>(message.data())) {
    case KvsStatusReport:
        handleStatus(message.data(), message.length);
        break;
    case KvsAlert:
        if (message.length > 4)
            emit alertReported(Alert::fromRecord(message.data() + 4, message.length - 4));
        break;
    case KvsVersionsReport:
        handleVersions(message.data(), message.length);
        break;
    case KvsScanStatusReport:
        emit scanStatusReported(message.length >= 8 ? qFromBigEndian<qint32>(message.data() + 4) : 0);
        break;
    default:
        break;
    }
}

void ScanDaemonService::handleStatus(const unsigned char* body, int length)
{
    // Older daemons send fewer words; a word counts only when its last byte arrived.
    const auto word = [body, length](int offset, quint32 fallback) {
        return offset + 4 <= length ? qFromBigEndian<quint32>(body + offset) : fallback;
    };
    emit scannerStateReported(ScannerState(word(4, quint32(ScannerState::Malfunctioning))));
    emit runningReported(word(8, 0) != 0);
    emit updateAllowedReported(word(12, 0) != 0);
    // The icon setting is saved, so a daemon that does not know it must not overwrite it.
    if (length >= 20)
        emit showIconReported(word(16, 0) != 0);
}

void ScanDaemonService::handleVersions(const unsigned char* body, int length)
{
    using Report = void (ScanDaemonService::*)(const QString&);
    const Report reports[]
        = {&ScanDaemonService::productVersionReported, &ScanDaemonService::engineVersionReported,
           &ScanDaemonService::definitionsVersionReported};
    BodyReader in(body + 4, length - 4);
    for (const Report report : reports) {
        QString text;
        const BodyReader::Text result = in.countedText(text);
        if (result == BodyReader::Text::Missing)
            return;
        // A count that does not fit leaves its text unset; the next count follows right after it.
        if (result == BodyReader::Text::Read)
            emit(this->*report)(text);
    }
    if (!in.has(16))
        return;
    const quint32 day = in.u32();
    const quint32 month = in.u32();
    const quint32 year = in.u32();
    DefinitionsRelease release;
    release.pending = year == 0;
    // Values that do not fit an int are no date; they must not wrap into negative years.
    if (!release.pending && year <= INT_MAX && month <= INT_MAX && day <= INT_MAX)
        release.date = QDate(int(year), int(month), int(day));
    release.revision = in.i32();
    emit definitionsReleaseReported(release);
}

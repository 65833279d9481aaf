#include "StatusModel.h"

#include "StatusTexts.h"

#include "ui/LocalTime.h"

StatusModel::StatusModel(QObject* parent)
    : QObject(parent)
{ }

QString StatusModel::scannerText() const
{
    return StatusTexts::scanner(m_scannerState);
}

QString StatusModel::scanText() const
{
    return StatusTexts::scan(m_scanStatus);
}

void StatusModel::setScannerState(ScannerState state)
{
    if (state == m_scannerState)
        return;
    m_scannerState = state;
    emit protectionChanged();
    emit scannerTextChanged(scannerText());
}

void StatusModel::setScanDaemonRunning(bool running)
{
    if (running == m_scanDaemonRunning)
        return;
    m_scanDaemonRunning = running;
    emit protectionChanged();
}

void StatusModel::setManagementState(ManagementState state)
{
    if (state == ManagementState::SelfManaged || state == ManagementState::Offline)
        setServer(StatusTexts::serverAbsence(state));
    if (state == m_managementState)
        return;
    m_managementState = state;
    emit protectionChanged();
}

void StatusModel::setScanStatus(int code)
{
    if (code == m_scanStatus)
        return;
    m_scanStatus = code;
    emit scanTextChanged(scanText());
}

// A null and an empty text count as equal, so clearing a field that never had a value is silent.
void StatusModel::assign(QString& field, const QString& value, TextSignal changed)
{
    if (field == value)
        return;
    field = value;
    emit(this->*changed)(field);
}

void StatusModel::setProductVersion(const QString& version)
{
    assign(m_productVersion, version, &StatusModel::productVersionChanged);
}

void StatusModel::setEngineVersion(const QString& version)
{
    assign(m_engineVersion, version, &StatusModel::engineVersionChanged);
}

void StatusModel::setDefinitionsVersion(const QString& version)
{
    assign(m_definitionsVersion, version, &StatusModel::definitionsVersionChanged);
}

void StatusModel::setDefinitionsRelease(const DefinitionsRelease& release)
{
    setDefinitionsVersion(StatusTexts::definitions(release));
}

void StatusModel::setServer(const QString& server)
{
    assign(m_server, server, &StatusModel::serverChanged);
}

void StatusModel::setGroup(const QString& group)
{
    assign(m_group, group, &StatusModel::groupChanged);
}

void StatusModel::setConnectedTime(qint64 time)
{
    assign(m_connectedTime, LocalTime::text(time), &StatusModel::connectedTimeChanged);
}

void StatusModel::setLocation(const QString& location)
{
    assign(m_location, location, &StatusModel::locationChanged);
}

void StatusModel::setPolicyNumber(const QString& number)
{
    assign(m_policyNumber, number, &StatusModel::policyNumberChanged);
}

void StatusModel::resetScanDaemon()
{
    setScannerState(ScannerState::Malfunctioning);
    setScanDaemonRunning(false);
    setScanStatus(0);
}

void StatusModel::resetManagement()
{
    setManagementState(ManagementState::Disabled);
    setServer(QString());
    setGroup(QString());
    setConnectedTime(0);
    setLocation(QString());
    setPolicyNumber(QString());
}

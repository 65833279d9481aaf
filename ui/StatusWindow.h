#pragma once

#include <QString>
#include <QWidget>

class QEvent;
class QGroupBox;
class QLabel;
class QPushButton;

// The status window opened from the tray: versions, definitions, protection and management
// details, and the button that starts a definitions update. Closing it only hides it.
class StatusWindow final : public QWidget
{
    Q_OBJECT

public:
    explicit StatusWindow(QWidget* parent = nullptr);

    // Switches the update button's caption while an update runs; whether it can be pressed is
    // left to setUpdateEnabled().
    void setUpdateRunning(bool running);
    void setUpdateEnabled(bool enabled);

    // The values arrive as ready-made text.
    void setProductVersion(const QString& value);
    void setEngineVersion(const QString& value);
    void setDefinitionsVersion(const QString& value);
    void setScannerState(const QString& value);
    void setScanState(const QString& value);
    void setServer(const QString& value);
    void setGroup(const QString& value);
    void setConnectedTime(const QString& value);
    void setLocation(const QString& value);
    void setPolicyNumber(const QString& value);

signals:
    void updateRequested();

protected:
    bool event(QEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    // Sets every translatable text; runs again on a language change.
    void languageChange();
    // Draws the banner for the window's current device-pixel ratio.
    void updateBanner();

    QLabel* m_titleLabel = nullptr;
    QLabel* m_bannerLabel = nullptr;
    QGroupBox* m_versionsBox = nullptr;
    QLabel* m_programCaption = nullptr;
    QLabel* m_programVersion = nullptr;
    QLabel* m_engineCaption = nullptr;
    QLabel* m_engineVersion = nullptr;
    QGroupBox* m_definitionsBox = nullptr;
    QLabel* m_definitionsCaption = nullptr;
    QLabel* m_definitionsVersion = nullptr;
    QPushButton* m_updateButton = nullptr;
    QGroupBox* m_statusBox = nullptr;
    QLabel* m_scannerCaption = nullptr;
    QLabel* m_scannerState = nullptr;
    QLabel* m_scanCaption = nullptr;
    QLabel* m_scanState = nullptr;
    QGroupBox* m_managementBox = nullptr;
    QLabel* m_serverCaption = nullptr;
    QLabel* m_server = nullptr;
    QLabel* m_groupCaption = nullptr;
    QLabel* m_group = nullptr;
    QLabel* m_connectedCaption = nullptr;
    QLabel* m_connectedTime = nullptr;
    QLabel* m_locationCaption = nullptr;
    QLabel* m_location = nullptr;
    QLabel* m_policyCaption = nullptr;
    QLabel* m_policyNumber = nullptr;
    QPushButton* m_closeButton = nullptr;
    bool m_updateRunning = false;
};

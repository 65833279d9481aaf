#pragma once

#include <QPixmap>
#include <QString>
#include <QWidget>

class QEvent;
class QGroupBox;
class QLabel;
class QPushButton;

// The status window opened from the tray: versions, definitions, protection and management
// details, and the button that starts a definitions update. Closing it only hides it.
class MainView : public QWidget
{
    Q_OBJECT

public:
    explicit MainView(QWidget* parent = nullptr, Qt::WindowFlags flags = {});

    // Switches the update button caption while an update runs; enabled-ness is left to setNRAllowed().
    void setNRRunning(bool running);

signals:
    void NRRequested();

public slots:
    virtual void setProgramVersion(const QString& value);
    virtual void setEngineVersion(const QString& value);
    virtual void setDefsVersion(const QString& value);
    virtual void setVGStatus(const QString& value);
    virtual void setScanStatus(const QString& value);
    virtual void setServerStatus(const QString& value);
    virtual void setGroupStatus(const QString& value);
    virtual void setConnectStatus(const QString& value);
    virtual void setLocationStatus(const QString& value);
    virtual void setPolicyNumStatus(const QString& value);
    virtual void setNRAllowed(bool allowed);

protected slots:
    // Sets every translatable text; runs again on a language change.
    virtual void languageChange();

protected:
    void changeEvent(QEvent* event) override;

private:
    QPixmap _image;
    QPixmap _icon;
    QLabel* _titleLabel = nullptr;
    QLabel* _imageLabel = nullptr;
    QGroupBox* _versionsBox = nullptr;
    QLabel* _ver1 = nullptr;
    QLabel* _programVer = nullptr;
    QLabel* _ver2 = nullptr;
    QLabel* _engineVer = nullptr;
    QGroupBox* _defsBox = nullptr;
    QLabel* _defsLabel = nullptr;
    QLabel* _defsValue = nullptr;
    QPushButton* _updateButton = nullptr;
    QGroupBox* _statusBox = nullptr;
    QLabel* _VGLabel = nullptr;
    QLabel* _VGStatus = nullptr;
    QLabel* _ScanLabel = nullptr;
    QLabel* _ScanStatus = nullptr;
    QGroupBox* _manageBox = nullptr;
    QLabel* _ServerLabel = nullptr;
    QLabel* _ServerStatus = nullptr;
    QLabel* _GroupLabel = nullptr;
    QLabel* _GroupStatus = nullptr;
    QLabel* _ConnectLabel = nullptr;
    QLabel* _ConnectStatus = nullptr;
    QLabel* _LocationLabel = nullptr;
    QLabel* _LocationStatus = nullptr;
    QLabel* _PolicyNumLabel = nullptr;
    QLabel* _PolicyNumStatus = nullptr;
    QPushButton* _closeButton = nullptr;
    bool _nrRunning = false;
};

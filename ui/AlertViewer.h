#pragma once

#include "messaging/Alert.h"
#include "messaging/LogThrottle.h"
#include "ui/Logging.h"

#include <QDialog>
#include <QStringList>
#include <QTimer>

class QCloseEvent;
class QEvent;
class QPushButton;
class QTextEdit;

// Pages through the alerts the scan daemon raised since the window was last closed, one at a
// time. Closing the window discards them; Escape only hides it. It keeps the newest MaxAlerts,
// each expanded once, so a flood of alerts cannot take the desktop's memory.
class AlertViewer final : public QDialog
{
    Q_OBJECT

public:
    static constexpr int MaxAlerts = 1000;

    explicit AlertViewer(QWidget* parent = nullptr);

    // Appended at the end, so whatever the user is reading stays in view. The window comes up
    // (or to the front) once the burst the alert came in has been read. The number tells the
    // alert apart for as long as the viewer holds it.
    quint64 addAlert(const Alert& alert);
    int count() const { return int(m_texts.size()); }
    // Comes forward showing that alert, or the current one when it is no longer held, with
    // the focus where the token lets it take it.
    void bringForward(quint64 alertNumber, const QByteArray& activationToken);

signals:
    // Closed: the user has seen the alerts, and they are gone.
    void alertsDiscarded();

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void languageChange();
    void showAlert(int position);
    void updateView();
    // The text and the buttons show the current alert of all that came.
    void catchUp();
    void present();

    QTimer m_presenter;
    QStringList m_texts;
    // The number of the first alert held; numbers go on counting when alerts are dropped or
    // discarded, so an old one never finds a new alert.
    quint64 m_firstNumber = 0;
    int m_current = 0;
    // The text box no longer shows the current alert; present() puts it right.
    bool m_textStale = false;
    // Alerts dropped since the last log line about them.
    LogThrottle m_droppedLog{lcAlerts(), "dropped %d old alert(s) to keep the newest 1000"};
    QPushButton* m_previousButton;
    QPushButton* m_nextButton;
    QTextEdit* m_text;
};

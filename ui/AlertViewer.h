#pragma once

#include "messaging/Alert.h"

#include <QDialog>
#include <QList>

class QCloseEvent;
class QEvent;
class QPushButton;
class QTextEdit;

// Pages through the alerts the scan daemon raised since the window was last closed, one at a
// time. Closing the window discards them; Escape only hides it.
class AlertViewer final : public QDialog
{
    Q_OBJECT

public:
    explicit AlertViewer(QWidget* parent = nullptr);

    // Appended at the end, so whatever the user is reading stays in view.
    void addAlert(const Alert& alert);
    int count() const { return int(m_alerts.size()); }
    int current() const { return m_current; }

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void languageChange();
    void showAlert(int position);
    void updateView();

    QList<Alert> m_alerts;
    int m_current = 0;
    QPushButton* m_previousButton;
    QPushButton* m_nextButton;
    QTextEdit* m_text;
};

#pragma once

#include "ui/Alert.h"

#include <QDialog>
#include <QPixmap>

#include <vector>

class QCloseEvent;
class QEvent;
class QPushButton;
class QTextEdit;

// Pages through the alerts the application has collected, one at a time. Closing the window
// asks the application to drop them.
class AlertView : public QDialog
{
    Q_OBJECT

public:
    explicit AlertView(QWidget* parent = nullptr, Qt::WindowFlags flags = {});

    // The application's list; set once after construction, never owned.
    const std::vector<qelUI::Alert>* _alerts = nullptr;

signals:
    void cleanup();

public slots:
    virtual void alertsUpdated(int newCount);

protected slots:
    virtual void languageChange();
    virtual void _next();
    virtual void _prev();

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void showAlert(int position);
    void displayCurrent();
    void updateButtons();
    void updateTitle();

    int _current = 0;
    QPushButton* _prevButton;
    QPushButton* _nextButton;
    QTextEdit* _messageEdit;
    QPixmap _icon;
};

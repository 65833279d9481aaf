#pragma once

#include <QObject>

#include <cstdint>

class QSocketNotifier;
struct xcb_connection_t;

// Whether an XEmbed tray manager owns the screen's tray selection, and when one announces itself.
// It keeps an X connection of its own, so that it needs nothing of Qt's platform plugin and Qt
// is not asked about trays before one exists.
class XEmbedTrayWatcher final : public QObject
{
    Q_OBJECT

public:
    // Connects to the display DISPLAY names; without one, no manager is ever present.
    explicit XEmbedTrayWatcher(QObject* parent = nullptr);
    ~XEmbedTrayWatcher() override;

    // Asks the X server, and so waits for its answer.
    bool isManagerPresent();

signals:
    void managerAppeared();

private:
    void readEvents();

    xcb_connection_t* m_connection = nullptr;
    QSocketNotifier* m_notifier = nullptr;
    uint32_t m_selection = 0;
    uint32_t m_managerMessage = 0;
};

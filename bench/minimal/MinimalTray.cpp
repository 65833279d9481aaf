// The reference for wardlet's start-up: the least a Qt program with a tray icon and a menu
// does. bench/startup.py and bench/idle.py run the two side by side.

#include "images/tray_shield.xpm"

#include <QApplication>
#include <QMenu>
#include <QPixmap>
#include <QSystemTrayIcon>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    app.setQuitOnLastWindowClosed(false);
    QMenu menu;
    menu.addAction(QStringLiteral("Open"));
    menu.addSeparator();
    menu.addAction(QStringLiteral("Exit"), &app, &QCoreApplication::quit);
    QSystemTrayIcon icon{QIcon(QPixmap(tray_shield_xpm))};
    icon.setContextMenu(&menu);
    icon.setToolTip(QStringLiteral("Minimal"));
    icon.setVisible(true);
    return app.exec();
}

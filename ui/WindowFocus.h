#pragma once

#include <QByteArray>

class QWidget;

namespace WindowFocus {

// Asks for the focus for a shown window, with the token a launcher gave the start that wants
// it forward (a Wayland activation token, or an X11 startup id), where the platform lets a
// program ask: Qt 5's Wayland client cannot, and warns on every try.
void request(QWidget& window, const QByteArray& token = QByteArray());

} // namespace WindowFocus

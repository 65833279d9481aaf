#pragma once

#include <QByteArray>

#include <cstddef>

class QWidget;

namespace WindowFocus {

// Activation tokens are short printable ASCII; anything else is not passed on.
constexpr size_t MaxToken = 255;
bool isUsableToken(const char* data, size_t size);

// Asks for the focus for a shown window, with the token a launcher gave the start that wants
// it forward (a Wayland activation token, or an X11 startup id), where the platform lets a
// program ask: Qt 5's Wayland client cannot, and warns on every try.
// An unusable token is left out.
void request(QWidget& window, const QByteArray& token = QByteArray());

} // namespace WindowFocus

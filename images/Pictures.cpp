#include "Pictures.h"

#include <QFile>
#include <QSize>

// Q_INIT_RESOURCE declares the resource's function where it is used: outside any namespace.
static void registerPictures()
{
    Q_INIT_RESOURCE(pictures);
}

namespace {

QString rendering(const QString& name, int scale)
{
    static const bool registered = (registerPictures(), true);
    Q_UNUSED(registered)
    return QStringLiteral(":/pictures/%1-%2x.png").arg(name).arg(scale);
}

} // namespace

QIcon Pictures::icon(const char* const* xpm, const QString& name)
{
    const QPixmap picture(xpm);
    QIcon icon(picture);
    for (int scale : {2, 3}) {
        const QString file = rendering(name, scale);
        if (QFile::exists(file))
            icon.addFile(file, picture.size() * scale);
    }
    return icon;
}

QPixmap Pictures::pixmap(const char* const* xpm, const QString& name, qreal ratio)
{
    const QPixmap picture(xpm);
    const QSize size = picture.size() * ratio;
    if (size.width() <= picture.width())
        return picture;
    QString file = rendering(name, 3);
    if (ratio <= 2 || !QFile::exists(file))
        file = rendering(name, 2);
    QPixmap large(file);
    if (large.size() != size)
        large = large.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    large.setDevicePixelRatio(ratio);
    return large;
}

#include "images/alert_icon.xpm"
#include "images/banner.xpm"
#include "images/tray_green.xpm"
#include "images/tray_grey.xpm"
#include "images/tray_red.xpm"
#include "images/tray_shield.xpm"
#include "images/tray_yellow.xpm"
#include "images/window_icon.xpm"

#include <QPixmap>
#include <QtTest>

namespace {

const char* const* const pictures[] = {tray_shield_xpm, tray_green_xpm, tray_red_xpm,    tray_yellow_xpm,
                                       tray_grey_xpm,   alert_icon_xpm, window_icon_xpm, banner_xpm};

} // namespace

class TestImages : public QObject
{
    Q_OBJECT

private slots:
    void everyPictureBuilds_data()
    {
        QTest::addColumn<int>("picture");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<bool>("transparent");
        QTest::newRow("tray shield") << 0 << QSize(22, 22) << true;
        QTest::newRow("tray green") << 1 << QSize(22, 22) << true;
        QTest::newRow("tray red") << 2 << QSize(22, 22) << true;
        QTest::newRow("tray yellow") << 3 << QSize(22, 22) << true;
        QTest::newRow("tray grey") << 4 << QSize(22, 22) << true;
        QTest::newRow("alert icon") << 5 << QSize(32, 32) << true;
        QTest::newRow("window icon") << 6 << QSize(32, 32) << true;
        QTest::newRow("banner") << 7 << QSize(100, 387) << false;
    }

    void everyPictureBuilds()
    {
        QFETCH(int, picture);
        QFETCH(QSize, size);
        QFETCH(bool, transparent);
        const QPixmap pixmap(pictures[picture]);
        QVERIFY(!pixmap.isNull());
        QCOMPARE(pixmap.size(), size);
        const QImage image = pixmap.toImage().convertToFormat(QImage::Format_ARGB32);
        bool seeThrough = false;
        for (int y = 0; y < image.height() && !seeThrough; ++y) {
            for (int x = 0; x < image.width() && !seeThrough; ++x)
                seeThrough = qAlpha(image.pixel(x, y)) == 0;
        }
        QCOMPARE(seeThrough, transparent);
    }

    // The grey picture means "unknown" and must carry no colour at all.
    void greyPictureIsGrey()
    {
        const QImage image = QPixmap(tray_grey_xpm).toImage().convertToFormat(QImage::Format_ARGB32);
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QRgb pixel = image.pixel(x, y);
                if (qAlpha(pixel))
                    QVERIFY(qRed(pixel) == qGreen(pixel) && qGreen(pixel) == qBlue(pixel));
            }
        }
    }
};

QTEST_MAIN(TestImages)
#include "TestImages.moc"

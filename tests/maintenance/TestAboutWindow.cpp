#include "TestMain.h"

#include "maintenance/AboutWindow.h"

#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

class TestAboutWindow : public QObject
{
    Q_OBJECT

private slots:
    // The name and version; only a right click with Control and Shift on the icon reveals the log.
    void showsNameAndVersionAndRevealsTheLog()
    {
        AboutWindow about;
        QCOMPARE(about.objectName(), u"frmAbout"_s);
        QCOMPARE(about.windowTitle(), u"About Quillmere"_s);
        auto* title = about.findChild<QLabel*>(u"lblTitle"_s);
        auto* icon = about.findChild<QLabel*>(u"picIcon"_s);
        QCOMPARE(title->text(), u"Quillmere Version 2.1.6"_s);
        QVERIFY(!icon->pixmap().isNull());
        about.show();
        QSignalSpy revealed(&about, &AboutWindow::showLogRevealed);
        QTest::mouseClick(icon, Qt::LeftButton);
        QTest::mouseClick(icon, Qt::LeftButton, Qt::ShiftModifier);
        QTest::mouseClick(title, Qt::LeftButton, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(revealed.count(), 0);
        QTest::mouseClick(icon, Qt::RightButton, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(revealed.count(), 1);
        auto* close = about.findChild<QPushButton*>(u"cmdClose1"_s);
        QCOMPARE(close->text(), u"Close"_s);
        QTest::mouseClick(close, Qt::LeftButton);
        QVERIFY(!about.isVisible());
    }
};

QUILLMERE_TEST(TestAboutWindow)
#include "TestAboutWindow.moc"

#include "TestMain.h"

#include "maintenance/AboutWindow.h"

#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

class TestAboutWindow : public QObject
{
    Q_OBJECT

private slots:
    void showsNameAndVersion()
    {
        AboutWindow about;
        QCOMPARE(about.objectName(), QStringLiteral("frmAbout"));
        QCOMPARE(about.windowTitle(), QStringLiteral("About Quillmere"));
        QCOMPARE(about.findChild<QLabel*>(QStringLiteral("lblTitle"))->text(), QStringLiteral("Quillmere Version 2.1.6"));
        QVERIFY(!about.findChild<QLabel*>(QStringLiteral("picIcon"))->pixmap().isNull());
        about.show();
        auto* close = about.findChild<QPushButton*>(QStringLiteral("cmdClose1"));
        QCOMPARE(close->text(), QStringLiteral("Close"));
        QTest::mouseClick(close, Qt::LeftButton);
        QVERIFY(!about.isVisible());
    }

    void onlyControlShiftClickOnTheIconRevealsTheLog()
    {
        AboutWindow about;
        about.show();
        QSignalSpy revealed(&about, &AboutWindow::showLogRevealed);
        QWidget* icon = about.findChild<QWidget*>(QStringLiteral("picIcon"));
        QTest::mouseClick(icon, Qt::LeftButton);
        QTest::mouseClick(icon, Qt::LeftButton, Qt::ShiftModifier);
        QTest::mouseClick(about.findChild<QWidget*>(QStringLiteral("lblTitle")), Qt::LeftButton,
                          Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(revealed.count(), 0);
        QTest::mouseClick(icon, Qt::RightButton, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(revealed.count(), 1);
    }
};

QUILLMERE_TEST(TestAboutWindow)
#include "TestAboutWindow.moc"

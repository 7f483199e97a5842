#include <QTest>
class TestMainWindow : public QObject
{
    Q_OBJECT
private slots:
    void placeholder() { QVERIFY(true); }
};
QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"

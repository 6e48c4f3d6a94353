#include "app/Preferences.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

class TestPreferences : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_settingsDir;

private slots:
    void initTestCase()
    {
        QVERIFY(m_settingsDir.isValid());
        QCoreApplication::setOrganizationName(QStringLiteral("tavrin-test"));
        QCoreApplication::setApplicationName(QStringLiteral("preferences"));
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_settingsDir.path());
    }

    void absentReadsFalse()
    {
        QSettings().clear();
        QVERIFY(!Preferences::autoInsert());
    }

    void everyChangeIsStoredAndAnnounced()
    {
        QSettings().clear();
        QSignalSpy changes(&Preferences::shared(), &Preferences::didChange);
        Preferences::setAutoInsert(!Preferences::autoInsert());
        QVERIFY(Preferences::autoInsert());
        QCOMPARE(QSettings().value(QStringLiteral("autoInsert")), QVariant(true));
        Preferences::setAutoInsert(!Preferences::autoInsert());
        QVERIFY(!Preferences::autoInsert());
        QCOMPARE(changes.size(), 2);
    }

    void valueWrittenByABoundControlIsRead()
    {
        QSettings().setValue(QStringLiteral("autoInsert"), true);
        QVERIFY(Preferences::autoInsert());
    }

    void notificationHasItsName()
    {
        QCOMPARE(Preferences::shared().objectName(), QStringLiteral("MorvikPreferencesDidChange"));
    }
};

QTEST_GUILESS_MAIN(TestPreferences)
#include "tst_preferences.moc"

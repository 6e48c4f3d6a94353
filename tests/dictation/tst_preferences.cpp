#include "config/Preferences.h"

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

    void readAfreshStoredAndAnnounced()
    {
        QSettings().clear();
        QVERIFY(!Preferences::autoInsert());
        QSettings().setValue(QStringLiteral("autoInsert"), true); // as a control bound to the key writes it
        QVERIFY(Preferences::autoInsert());

        QCOMPARE(Preferences::shared().objectName(), QStringLiteral("MorvikPreferencesDidChange"));
        QSignalSpy changes(&Preferences::shared(), &Preferences::didChange);
        for (bool value :
             {false, true, true}) { // the last value is already stored, and announced all the same
            Preferences::setAutoInsert(value);
            QCOMPARE(Preferences::autoInsert(), value);
            QCOMPARE(QSettings().value(QStringLiteral("autoInsert")), QVariant(value));
        }
        QCOMPARE(changes.size(), 3);
    }
};

QTEST_GUILESS_MAIN(TestPreferences)
#include "tst_preferences.moc"

#include "protocol/AskRequest.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

// The request body as it crosses the wire.
class TestAskEncoding : public QObject
{
    Q_OBJECT

private slots:
    void requestLeavesOutAbsentFields()
    {
        AskRequest request;
        request.text = QStringLiteral("hi");
        const QJsonObject minimal = QJsonDocument::fromJson(request.encode()).object();
        QCOMPARE(minimal.keys(), (QStringList{"device", "text"}));
        QCOMPARE(minimal.value("device").toString(), QStringLiteral("mac"));
        QVERIFY(!request.encode().contains('\n'));

        request.text.clear();
        request.selection = QString();
        request.app = QStringLiteral("Mousepad");
        request.draft = QStringLiteral("d");
        request.adjust = QStringLiteral("shorter");
        const QJsonObject full = QJsonDocument::fromJson(request.encode()).object();
        QCOMPARE(full.keys(), (QStringList{"adjust", "app", "device", "draft", "selection", "text"}));
        QCOMPARE(full.value("selection").toString(QStringLiteral("absent")), QString());
        QCOMPARE(full.value("text").toString(QStringLiteral("absent")), QString());
    }
};

QTEST_GUILESS_MAIN(TestAskEncoding)
#include "tst_askencoding.moc"

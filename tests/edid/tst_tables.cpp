// SPDX-License-Identifier: Apache-2.0
#include "edid/EdidTables.h"
#include "edid/VideoFormatStyle.h"
#include "support/TestCase.h"
#include "tools/common/ForkedProcess.h"

#include <QtTest>

namespace tst_tables {

namespace {

QMap<int, QString> listedNames()
{
    ForkedProcess decoder;
    decoder.start("edid-decode", {"--list-vics"});
    decoder.waitForFinished();
    QMap<int, QString> names;
    for (const ListedFormat &format :
         ListedFormat::allIn(QString::fromLatin1(decoder.readAllStandardOutput())))
        names.insert(format.vic, format.name());
    return names;
}

} // namespace

class TestTables : public QObject
{
    Q_OBJECT

private slots:
    void videoFormatsAgreeWithEdidDecode()
    {
        QMap<int, QString> names = listedNames();
        QCOMPARE(names.size(), 127 + 27);
        // The two rows that deliberately differ from the standard.
        QCOMPARE(names.value(47), QString("1280x720p@120Hz  16:9"));
        QCOMPARE(names.value(55), QString("720(1440)x576i@200Hz  16:9"));
        names[47] = "1280x720@120Hz  16:9";
        names[55] = "720(1440)x576i@200Hz  16:3";

        QCOMPARE(int(edid::VideoSDStr.size()), 219);
        for (int vic = 1; vic <= 219; ++vic)
            QCOMPARE(qMakePair(vic, QString(edid::videoName(vic))),
                     qMakePair(vic, names.value(vic, "")));
    }

    void namesOutsideTheTable()
    {
        for (const int vic : {-1, 0, 220, 255, 100000})
            QCOMPARE(QString(edid::videoName(vic)), QString());
    }
};

AGENT_TEST(TestTables)

} // namespace tst_tables

#include "tst_tables.moc"

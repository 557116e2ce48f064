// SPDX-License-Identifier: Apache-2.0
#include "console/FirmwareRows.h"
#include "support/TestCase.h"

namespace console::tst_rows {

class TestRows : public QObject
{
    Q_OBJECT

private slots:
    void rows_data()
    {
        const tests::DataTable<QString, QStringList> rows("description", "rows");
        const auto chip = [](const char *type, const char *quantity, const QStringList &names) {
            const QString pcbs =
                QStringList(names)
                    .replaceInStrings(QRegularExpression("(.+)"),
                                      R"({"name": "\1", "pcb_version": "9", "ver1": "3"})")
                    .join(',');
            return QString(R"({"name": "chip", "chip_type": "%1", "chip_quanity": "%2",)"
                           R"( "mcus": [{"mcu_type": "7", "pcbs": [%3]}]})")
                .arg(type, quantity, pcbs);
        };
        const auto package = [](const QStringList &chips) {
            return QString(R"({"model": "M", "chips": [%1]})").arg(chips.join(','));
        };

        rows("one", package({chip("1", "1", {"MAIN"})}), {"MAIN,0,1"});
        rows("several",
             package(
                 {chip("1", "1", {"MAIN"}), chip("3", "4", {"A", "B"}), chip("33", "1", {"NET"})}),
             {"MAIN,0,1", "A,2,4", "B,2,4", "NET,32,1"});
        rows("one name twice", package({chip("2", "1", {"AUX", "AUX"})}), {"AUX,1,1", "AUX,1,1"});
        rows("chip type 0", package({chip("0", "1", {"X"})}), {"X,-1,1"});
        rows("chip type beyond a byte", package({chip("257", "513", {"X"})}), {"X,0,1"});
        rows("negative", package({chip("-1", "-2", {"X"})}), {"X,254,254"});
        rows("no numbers", package({chip("abc", "", {"X"})}), {"X,-1,0"});
        rows("hexadecimal is not a number", package({chip("0x10", "1e1", {"X"})}), {"X,-1,0"});
        rows(
            "numbers instead of texts",
            R"({"chips": [{"chip_type": 3, "chip_quanity": 1, "mcus": [{"pcbs": [{"name": 5}]}]}]})",
            {",-1,0"});
        rows("several MCUs of one chip",
             R"({"chips": [{"chip_type": "2", "chip_quanity": "1", "mcus": [
            {"pcbs": [{"name": "A"}]}, {"pcbs": []}, {}, {"pcbs": [{"name": "B"}]}]}]})",
             {"A,1,1", "B,1,1"});
        rows("blanks in a name stay",
             R"({"chips": [{"chip_type": "1", "chip_quanity": "1",
            "mcus": [{"pcbs": [{"name": "MAIN MCU"}]}]}]})",
             {"MAIN MCU,0,1"});
        rows("strange entries",
             R"({"chips": [1, "x", null, [], {"mcus": 5}, {"mcus": [{"pcbs": 1}]}]})", {});
        rows("chips is not a list", R"({"chips": {"chip_type": "1"}})", {});
        rows("no chips", R"({"model": "M"})", {});
        rows("list at the top", R"([{"chips": []}])", {});
        rows("an error text", "ERROR:Firmware file is not exist.", {});
        rows("nothing", "", {});
        rows("cut off", package({chip("1", "1", {"MAIN"})}).left(60), {});
    }

    void rows()
    {
        QFETCH(QString, description);
        QTEST(firmwareRows(description), "rows");
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestRows)

} // namespace console::tst_rows

#include "tst_rows.moc"

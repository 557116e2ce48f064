// SPDX-License-Identifier: Apache-2.0
#include "engine/EngineModel.h"

namespace {

constexpr int tries = 3;

QString number(int value)
{
    return QString::number(value);
}

} // namespace

EngineModel::EngineModel(const Disturbance &disturbance)
    : m_disturbance(disturbance), m_line(disturbance)
{
    for (int row = 0; row < matrix::rowCount; ++row) {
        const MatrixRow &chip = matrix::rows[row];
        m_rows[row] = QString("%1,%2,%3,,,,,,,,,0,0")
                          .arg(name(row))
                          .arg(chip.chipType)
                          .arg(chip.chipIndex)
                          .split(',');
    }
    switch (disturbance.chain) {
    case Chain::Upgrade:
    case Chain::BootcodeFirst:
        upgrade();
        break;
    case Chain::Read:
        read();
        break;
    case Chain::Write:
        write();
        break;
    }
}

QString EngineModel::results() const
{
    QString all;
    for (const QStringList &row : m_rows)
        all += row.at(12);
    return all;
}

/** A read has its names from the main MCU, which knows one for each kind of chip. */
QString EngineModel::name(int row) const
{
    const bool isRead = m_disturbance.chain == Chain::Read;
    return QString::fromLatin1(matrix::rows[isRead && row > 1 ? 1 : row].name);
}

void EngineModel::say(const QString &line)
{
    lines.append(m_reading ? QLatin1String("READPI|") + line : line);
}

/** What a reply is worth to the command that it answers. */
EngineModel::Verdict EngineModel::judge(const QString &word, const ModelReply &reply)
{
    const bool refused = reply.worth == ModelReply::Worth::Refused;
    const bool isShort = reply.worth == ModelReply::Worth::Short;
    if (word == "7902") // any sign of life is a yes
        return Verdict::Answer;
    if (word.startsWith("F802") || word == "7900") // needs no data
        return refused ? Verdict::Refusal : Verdict::Answer;
    if (word == "7905") // only the extended form counts, whatever its status
        return isShort ? Verdict::Short : Verdict::Answer;
    if (word.startsWith("7901") && isShort) // has no status: not seen as a reply
        return Verdict::Silence;
    if (word == "F903" && isShort) // a name of no characters
        return Verdict::Answer;
    return refused ? Verdict::Refusal : isShort ? Verdict::Short : Verdict::Answer;
}

void EngineModel::sendOrReportLoss(const QString &word, int row)
{
    if (m_line.send(word, row))
        return;
    lines.append("Disconnect");
    lines.append("ttyS2 port is disconnected.");
}

EngineModel::Verdict EngineModel::exchange(const QString &word, int row)
{
    sendOrReportLoss(word, row);
    const auto reply = m_line.receive(word, row);
    if (!reply)
        return Verdict::Silence;
    m_reply = *reply;
    return judge(word, m_reply);
}

void EngineModel::fail(const QString &status, int row)
{
    say("APPSTATUS|" + status);
    if (row >= m_rowCount)
        return;
    for (QStringList &fields : m_rows)
        fields[12] = QString("2");
    say(QString("UPGRADERESULT|%1|2").arg(m_rows[row].join(',')));
}

void EngineModel::upgrade()
{
    lines = QStringList{"ConnectSuccess|ttyS2", "Firmware file checksum ok.", "Read model name."};
    if (!readModelName())
        return;
    // The main MCU has one turn, before all others or with them, even if it fails.
    const bool mainFirst = m_disturbance.chain == Chain::BootcodeFirst;
    if (mainFirst) {
        if (!readRow(0))
            return;
        say(QString("'MAIN' product information flag is valid, start to upgrade main mcu "
                    "first."));
        if (!sendImage(0))
            return;
    }
    if (!readRowsFrom(mainFirst ? 1 : 0))
        return;
    readVersions();
    if (!sendImagesFrom(mainFirst ? 1 : 0) || !reboot())
        return;
    if (!awaitProductId(QString("F802 system"), QString("Systerm run fail."))) {
        fail("5", m_rowCount);
        return;
    }
    setVirtualVersion();
}

bool EngineModel::readModelName()
{
    Verdict verdict = Verdict::Silence;
    for (int attempt = 1; attempt <= tries; ++attempt) {
        verdict = exchange("F903");
        if (verdict == Verdict::Answer)
            break;
        if (attempt < tries)
            say(QString("Read model name fail, retry %1.").arg(attempt));
    }
    if (verdict == Verdict::Answer && m_reply.worth == ModelReply::Worth::Good) {
        say("Model Name match.");
        return true;
    }
    if (verdict == Verdict::Answer)
        say(QString("Firmware Model Name is HX-8.\r\nDevice Model Name is .\r\n"
                    "Model Name does not match, upgrade fail."));
    else if (verdict == Verdict::Silence)
        say("Read model name fail, upgrade fail, exit.");
    else
        say("Read model name error, upgrade fail. ForcedUpgrade mode is required.");
    fail("7", 0);
    return false;
}

bool EngineModel::readRowPart(int row, const QString &word, const QString &what,
                              const QString &question)
{
    for (int attempt = 1; attempt <= tries; ++attempt) {
        say(question.arg(name(row)));
        if (exchange(word, row) == Verdict::Answer)
            return true;
        const bool givesUp = attempt == tries;
        const QString then =
            givesUp ? QString("check the next mcu.") : QString("retry %1.").arg(attempt);
        // After a failed virtual version, the first read has an additional full stop.
        const bool hasStop = m_virtualVersionGivenUp && row == 0 && !givesUp && word == "F900";
        say(QString("Read the %1 information of '%2'%3 fail, %4")
                .arg(what, name(row), hasStop ? QString(".") : QString(), then));
    }
    if (row == 0 && word != "F902") {
        say(QString("Read the %1 information of '%2' fail, exit %3.")
                .arg(what, name(row),
                     m_reading ? QString("read product information") : QString("upgrade")));
        fail("7", row);
    }
    return false;
}

/** Bootcode and product information; false when the whole operation has ended. */
bool EngineModel::readRow(int row)
{
    if (!readRowPart(row, QString("F900"), QString("bootcode"),
                     QString("Read bootcode information of '%1'.")))
        return row != 0;
    say(QString("Read the bootcode information of '%1' success.").arg(name(row)));
    m_rows[row][3] = number(matrix::rows[row].mcuType);
    const bool inBootcode = row == 0 && m_disturbance.chain == Chain::BootcodeFirst;
    m_rows[row][9] = number(int(inBootcode));
    m_rows[row][10] = QString("1");
    if (row == 0)
        say(inBootcode ? QString("MAIN MCU running in Bootcode.")
                       : QString("MAIN MCU running in APP."));
    if (!readRowPart(row, QString("F901"), QString("product"),
                     QString("Read the product information of '%1'.")))
        return row != 0;
    m_rows[row][4] = QString("1");
    m_rows[row][5] = QString("65");
    say(QString("Read the product information of '%1'  success.").arg(name(row)));
    return true;
}

bool EngineModel::readRowsFrom(int first)
{
    for (int row = first; row < m_rowCount; ++row) {
        if (!readRow(row))
            return false;
    }
    say("Read all mcu(list) bootcode and product information done.");
    return true;
}

void EngineModel::readVersions()
{
    for (int row = 0; row < m_rowCount; ++row) {
        if (!readRowPart(row, QString("F902"), QString("version"),
                         QString("Send 'Read FW version' command to '%1'."))) {
            if (row == m_rowCount - 1)
                say("Read all mcu(list) version information done.");
            continue;
        }
        const auto &version = matrix::rows[row].version;
        const bool known = !m_line.isHalfWritten(row);
        for (int part = 0; part < 3; ++part)
            m_rows[row][6 + part] = number(known ? version[part] : 0);
        say(QString("Read '%1' version success, version is V%2")
                .arg(name(row), m_rows[row].mid(6, 3).join('.')));
    }
}

bool EngineModel::sendImagesFrom(int first)
{
    for (int row = first; row < m_rowCount; ++row) {
        if (!sendImage(row))
            return false;
    }
    return true;
}

/** False when the run has ended with it. */
bool EngineModel::sendImage(int row)
{
    QStringList &fields = m_rows[row];
    const bool isKnown = !fields.at(3).isEmpty() && !fields.at(4).isEmpty();
    if (!isKnown) { // no image is known to be for it
        fields[12] = QString("2");
        say(QString("UPGRADERESULT|%1|2").arg(fields.join(',')));
        return true;
    }
    const QString runs = fields.at(6).isEmpty() ? QString("0.0.0") : fields.mid(6, 3).join('.');
    say(QString("Firmware version V2.0.0 greater than the '%1' version V%2, will "
                "upgrade.")
            .arg(name(row), runs));
    fields[11] = QString("1");
    const bool written = writeImage(row);
    fields[12] = written ? QString("1") : QString("2");
    say(QString("UPGRADERESULT|%1|%2").arg(fields.join(','), fields.at(12)));
    if (!written) {
        say(QString("'%1' F/W Update fail.").arg(name(row)));
        return true;
    }
    m_imageWritten = true;
    say(QString("Write firmware '%1' success.").arg(name(row)));
    if (row == m_rowCount - 1)
        say("Write all firmware success.");
    if (row != 0)
        return true;
    say("The Main MCU is restarting, please wait.");
    m_line.dropAll();
    if (!awaitProductId(QString("F802 main"), QString("Main MCU run fail."))) {
        fail("5", row);
        return false;
    }
    say("Upgrade Main MCU success.");
    return true;
}

/** Three times the whole image, from the Enter frame on. */
bool EngineModel::writeImage(int row)
{
    for (int attempt = 1; attempt <= tries; ++attempt) {
        if (enterUpdateMode(row) && writeBlocks(row))
            return true;
        if (attempt < tries)
            say(QString("'%1' F/W update fail, retry %2.").arg(name(row)).arg(attempt));
    }
    return false;
}

bool EngineModel::enterUpdateMode(int row)
{
    const QString word = QString("7900");
    for (int attempt = 1; attempt <= tries; ++attempt) {
        if (m_line.send(word, row)) // a failed send has no words here
            say(QString("Send 'Enter F/W Upgrade Mode' command to '%1'.").arg(name(row)));
        const auto reply = m_line.receive(word);
        if (reply && judge(word, *reply) == Verdict::Answer) {
            say(QString("'%1' Enter 'F/W Update Mode' success.").arg(name(row)));
            return true;
        }
        say(attempt < tries
                ? QString("'%1' Enter F/W Update Mode fail, retry %2.").arg(name(row)).arg(attempt)
                : QString("'%1' Enter F/W Update Mode fail.").arg(name(row)));
    }
    return false;
}

/** Each block up to three times. After an acknowledgement the rest of its chunk is dropped. */
bool EngineModel::writeBlocks(int row)
{
    for (int block = 0; block < matrix::blocksPerImage; ++block) {
        const QString word = QString("7901:%1").arg(block);
        bool accepted = false;
        for (int attempt = 1; attempt <= tries && !accepted; ++attempt) {
            const bool sent = m_line.send(word, row);
            if (sent && block == 0 && attempt == 1) {
                say("Erasing...");
                say("Erase success.\r\nWriting...");
            }
            const auto reply = m_line.receive(word);
            const Verdict verdict = reply ? judge(word, *reply) : Verdict::Silence;
            accepted = verdict == Verdict::Answer;
            if (accepted && attempt > 1) // the answers to the other sends come within a pause
                m_line.dropAll();
            else if (accepted || verdict == Verdict::Refusal)
                m_line.dropChunk();
            if (!accepted && attempt < tries)
                say(QString("F/W update timeout, retry %1.").arg(attempt));
        }
        if (!accepted)
            return false;
    }
    return true;
}

/** The first question comes after a first wait; a refusal is waited out like silence. */
bool EngineModel::awaitProductId(const QString &which, const QString &givenUp)
{
    const char *const questions[] = {"Read product ID.", "Read product ID fail, retry 1.",
                                     "Read product ID fail, retry 2."};
    for (const char *question : questions) {
        say(QString::fromLatin1(question));
        if (exchange(which) == Verdict::Answer)
            return true;
    }
    say(givenUp);
    return false;
}

bool EngineModel::reboot()
{
    for (int attempt = 1; attempt <= tries; ++attempt) {
        say("Send reboot command.");
        if (exchange("7902") == Verdict::Answer) {
            say("Start to reboot, please wait.");
            m_line.dropAll();
            return true;
        }
        say(attempt < tries ? QString("Reboot fail, retry %1.").arg(attempt)
                            : QString("Reboot systerm fail."));
    }
    fail("5", m_rowCount);
    return false;
}

void EngineModel::setVirtualVersion()
{
    if (!m_imageWritten) {
        lines += {"Ignore to set virtual version.",
                  "All firmware upgrade done, but did not upgrade any mcu.", "APPSTATUS|6"};
        return;
    }
    say("Start to set virtual version.");
    for (int attempt = 1; attempt <= tries; ++attempt) {
        if (exchange("7905") == Verdict::Answer) {
            if (m_reply.worth == ModelReply::Worth::Good)
                lines += {"Set virtual version success.",
                          "All firmware upgrade success and systerm run success."};
            else
                lines += {"Set virtual version fail.",
                          "All firmware upgrade done, but set virtual version fail."};
            say("APPSTATUS|6");
            return;
        }
        say(attempt < tries ? QString("Set virtual version fail, retry %1.").arg(attempt)
                            : QString("Set virtual version fail, upgrade fail."));
    }
    fail("7", m_rowCount);
}

void EngineModel::read()
{
    m_reading = true;
    m_rowCount = 1; // until the main MCU has named the others
    readVirtualVersion();
    if (!readRow(0))
        return;
    m_rowCount = matrix::rowCount;
    for (int row = 1; row < m_rowCount; ++row)
        readRow(row);
    say("Read all mcu(list) bootcode and product information done.");
    readVersions();
    report();
}

void EngineModel::readVirtualVersion()
{
    say("Read virtual version.");
    for (int attempt = 1; attempt <= tries; ++attempt) {
        const Verdict verdict = exchange("F905");
        if (verdict == Verdict::Answer) {
            say("Read virtual version success.");
            return;
        }
        if (verdict == Verdict::Short) {
            say("Read virtual version error.");
            break;
        }
        say(attempt < tries ? QString("Read virtual version fail, retry %1.").arg(attempt)
                            : QString("Read virtual version fail."));
    }
    m_virtualVersionGivenUp = true;
}

void EngineModel::report()
{
    static const char *const labels[] = {
        "Name:", "Chip Type:", "Chip Index:", "MCU Model:",    "PCB Version:",    "Speciality:",
        "Ver1:", "Ver2:",      "Ver3:",       "BootCodeFlag:", "ProductInfoFlag:"};
    QString text = QString("PISHOW|==========product information==========\r\n");
    text += QString("|Model Name:HX-8\r\n|AUX MCU ChipType:1\r\n"
                    "|AUX MCU ChipQuanity:2\r\n|AUX MCU Name:AUX\r\n");
    for (const QStringList &fields : m_rows) {
        text += '|';
        for (int field = 0; field < 11; ++field) {
            QString value = fields.at(field);
            const bool twoDigits = field == 4 || field == 7 || field == 8;
            if (twoDigits && value.size() == 1)
                value.prepend('0');
            if (field == 5 && !value.isEmpty())
                value = QString("A");
            text += QLatin1String(labels[field]) + value + QLatin1String("\r\n");
        }
    }
    lines.append(text);
}

void EngineModel::write()
{
    say("Start to write Product Information.");
    for (int row = 0; row < m_rowCount; ++row) {
        const QString text = QString("%1,%2,%3,%4,1,65,0,0,0,0")
                                 .arg(name(row))
                                 .arg(matrix::rows[row].chipType)
                                 .arg(matrix::rows[row].chipIndex)
                                 .arg(matrix::rows[row].mcuType);
        bool written = false;
        for (int attempt = 1; attempt <= tries && !written; ++attempt) {
            say(QString("Start to write '%1' product information.").arg(name(row)));
            written = exchange("7903", row) == Verdict::Answer;
            const QString then = attempt < tries ? QString("retry %1.").arg(attempt)
                                                 : QString("write the next mcu.");
            say(written ? QString("Write '%1' product information success.").arg(name(row))
                        : QString("Write '%1' product information fail, %2").arg(name(row), then));
        }
        say(QString("SETPIRESULT|%1|%2").arg(text, written ? "1" : "2"));
    }
    say("Write all product information done.");
}

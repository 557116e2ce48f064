// SPDX-License-Identifier: Apache-2.0
// Prints every text of the agent as JSON: {"subsystem": {"id": "text", ...}, ...}.
#include "edid/EdidTexts.h"
#include "engine/report/EngineTexts.h"
#include "engine/report/RunWords.h"
#include "netupgrade/NetTexts.h"
#include "package/BuildTexts.h"
#include "planning/VersionTexts.h"
#include "protocol/AppStatus.h"
#include "protocol/ConsoleTexts.h"
#include "protocol/MessageKeys.h"
#include "signing/SigningTexts.h"
#include "upload/UploadTexts.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

namespace appStatus = protocol::appStatus;
namespace buildtext = package::buildtext;
namespace consoletext = protocol::consoletext;
namespace nettext = netupgrade::nettext;
namespace runWord = engine::runWord;
namespace signtext = signing::signtext;
namespace text = engine::text;
namespace uploadText = upload::uploadText;
namespace versiontext = planning::versiontext;
using protocol::WireText;

namespace {

template<size_t count>
QJsonObject object(const WireText (&table)[count])
{
    QJsonObject texts;
    for (const WireText &entry : table)
        texts.insert(QString::fromLatin1(entry.id), QString::fromLatin1(entry.text));
    return texts;
}

} // namespace

int main()
{
    const QJsonObject texts{
        {"build", object(buildtext::all)},     {"console", object(consoletext::all)},
        {"edid", object(edid::text::all)},     {"engine", object(text::all)},
        {"key", object(protocol::key::all)},   {"net", object(nettext::all)},
        {"run", object(runWord::all)},         {"signing", object(signtext::all)},
        {"status", object(appStatus::all)},    {"upload", object(uploadText::all)},
        {"version", object(versiontext::all)},
    };
    std::fputs(QJsonDocument(texts).toJson().constData(), stdout);
    return 0;
}

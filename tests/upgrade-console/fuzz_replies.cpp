// SPDX-License-Identifier: Apache-2.0
#include "client/ReplyParser.h"
#include "client/UpgradeModel.h"
#include "support/Fuzz.h"
#include "upgrade-console/UpgradeView.h"

#include <algorithm>

namespace client {

namespace {

constexpr int maxLine = 2000;

bool same(const AgentReply &a, const AgentReply &b)
{
    return a.kind == b.kind && a.text == b.text && a.percent == b.percent && a.word == b.word &&
           a.status == b.status;
}

void requireBounded(const UpgradeModel &model)
{
    require(model.percent() >= 0.0 && model.percent() <= 100.0);
    require(model.current() < model.mcus().size());
    for (const McuState &mcu : model.mcus())
        require(mcu.percent >= 0.0 && mcu.percent <= 100.0);
    const TimeEstimate estimate;
    const RunPicture picture{model, estimate, {}, std::chrono::milliseconds(1), {}};
    for (const QString &line : liveLines(picture, {true, 80, 24, {}}))
        require(line.size() < 80);
}

} // namespace

/** Any byte stream: the replies do not depend on where it was cut, memory is bounded, and no line
 *  upsets what is made of it. The first byte says where the stream is cut. */
extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    if (size == 0)
        return 0;
    const QByteArray bytes(reinterpret_cast<const char *>(data + 1), int(size) - 1);
    const int cut = std::max(1, int(data[0]));

    ReplyParser whole(maxLine);
    const QVector<AgentReply> replies = whole.feed(bytes);
    ReplyParser pieces(maxLine);
    QVector<AgentReply> again;
    for (int from = 0; from < bytes.size(); from += cut) {
        again += pieces.feed(bytes.mid(from, cut));
        require(pieces.pending() <= 2 * maxLine);
    }
    require(std::equal(replies.begin(), replies.end(), again.begin(), again.end(), same));

    UpgradeModel model({{"MAIN", 0, 0, "1.0.0"}, {"AUX", 1, 0, {}}, {"NET", 32, 0, {}}});
    std::chrono::milliseconds now{0};
    double percent = 0.0;
    for (const AgentReply &reply : replies) {
        model.take(reply, now += std::chrono::milliseconds(7));
        require(model.percent() >= percent);
        percent = model.percent();
    }
    requireBounded(model);
    return 0;
}

} // namespace client

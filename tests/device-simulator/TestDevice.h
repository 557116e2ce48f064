// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-simulator/SimulatedDevice.h"

#include <QByteArrayList>
#include <QStringList>

#include <chrono>

/** What a host asks, and the answers of a TestDevice, as hexadecimal text. */
inline const QByteArray askProductId = "5a5ba50500000002f8a7";
inline const QByteArray productId = "5b5ba50800000002f8485838cb";
inline const QByteArray enterAux = "5a5ba5070000000079010124";
inline const QByteArray accepted = "5b5ba508000000ffff00790026";
inline const QByteArray blockAccepted = "5b5ba508000000ffff01790025";
inline const QByteArray blockRefused = "5b5ba508000000ffff01790322";

/** A device of three chips with a clock that the test controls, and its recorded trace. */
struct TestDevice
{
    std::chrono::microseconds now{0};
    QStringList lines;
    SimulatedDevice device;

    explicit TestDevice(const QString &fault = {})
        : device(
              description(), [this] { return now; }, 1)
    {
        device.setTrace([this](const TraceEvent &event) { lines.append(event.line()); });
        if (!fault.isEmpty())
            addFault(fault);
    }

    static const DeviceDescription &description()
    {
        static QString error;
        static const DeviceDescription description = DeviceDescription::fromJson(R"({
            "model": "HX-8", "product_id": "HX8", "virtual_version": 7,
            "chips": [
                {"name": "MAIN", "mcu_type": 3, "pcb_version": 2, "version": "1.2.3",
                 "upgrades_to": "1.3.0"},
                {"name": "AUX", "chip_type": 1, "chip_index": 1, "mcu_type": 4, "pcb_version": 5,
                 "speciality": "B", "bootcode": true, "product_information": false},
                {"name": "FPGA", "chip_type": 17, "version": "4.5"}],
            "aux": [{"name": "AUX", "chip_type": 1, "quantity": 2}]})",
                                                                                 &error)
                                                         .value();
        return description;
    }

    /** What the device answers to `hex`, as hexadecimal text; blanks separate several answers. */
    QByteArray ask(const QByteArray &hex)
    {
        QByteArrayList answers;
        for (const DeviceAnswer &answer : device.receive(QByteArray::fromHex(hex)))
            answers += answer.bytes.toHex();
        return answers.join(' ');
    }

    /** The answers to several questions. */
    QByteArrayList askInTurn(const QByteArrayList &questions)
    {
        QByteArrayList answers;
        for (const QByteArray &question : questions)
            answers += ask(question);
        return answers;
    }

    void addFault(const QString &text)
    {
        QString error;
        device.faults().add(Fault::parse(text, &error).value());
    }
};

/** What a device, or a replay, answers, each answer with its delay in milliseconds: "5b...+16000".
 */
template<typename Device>
QByteArray answersWithDelays(Device &device, const QByteArray &hex)
{
    QByteArrayList answers;
    for (const DeviceAnswer &answer : device.receive(QByteArray::fromHex(hex)))
        answers += answer.bytes.toHex() + '+' + QByteArray::number(qlonglong(answer.delay.count()));
    return answers.join(' ');
}

/** The payload of a block; every image byte is `fill`. */
inline QByteArray blockPayload(int number, int flags, char fill)
{
    const QByteArray chip(2, '\1');
    return chip + char(number & 0xFF) + char(number >> 8) + char(flags) + QByteArray(256, fill);
}

/** One whole block frame for chip 1, 1, as hexadecimal text. */
inline QByteArray blockFrame(int number, int flags, char fill)
{
    return protocol::mcu::buildFrame(0x5A, {}, 0x7901, blockPayload(number, flags, fill)).toHex();
}

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

    static DeviceDescription description()
    {
        DeviceDescription description;
        description.model = "HX-8";
        description.productId = "HX8";
        description.virtualVersion = 7;
        description.auxChips = {{1, 2, "AUX"}};
        ChipDescription main;
        main.name = QStringLiteral("MAIN");
        main.mcuType = 3;
        main.pcbVersion = 2;
        main.version = {1, 2, 3, true};
        main.upgradesTo = ChipVersion{1, 3, 0, true};
        ChipDescription aux;
        aux.name = QStringLiteral("AUX");
        aux.chipType = 1;
        aux.chipIndex = 1;
        aux.mcuType = 4;
        aux.pcbVersion = 5;
        aux.speciality = 'B';
        aux.bootcode = true;
        aux.productInformation = false;
        ChipDescription fpga;
        fpga.name = QStringLiteral("FPGA");
        fpga.chipType = 17;
        fpga.version = {4, 5, 0, false};
        description.chips = {main, aux, fpga};
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

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-simulator/SimulatedDevice.h"

#include <QByteArray>
#include <QStringList>

#include <chrono>

/** A device of three chips with a clock that the test controls, and its recorded trace. */
struct TestDevice
{
    std::chrono::microseconds now{0};
    QStringList lines;
    SimulatedDevice device;

    TestDevice()
        : device(
              description(), [this] { return now; }, 1)
    {
        device.setTrace([this](const TraceEvent &event) { lines.append(event.line()); });
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
        QByteArray text;
        for (const DeviceAnswer &answer : device.receive(QByteArray::fromHex(hex)))
            text += (text.isEmpty() ? "" : " ") + answer.bytes.toHex();
        return text;
    }

    void addFault(const QString &text)
    {
        QString error;
        const auto fault = Fault::parse(text, &error);
        if (!fault)
            qFatal("%s", qPrintable(error));
        device.faults().add(*fault);
    }
};

/** One whole block frame for chip 1, 1; every image byte is `fill`. */
inline QByteArray blockFrame(int number, quint8 flags, char fill, quint8 start = 0x5A)
{
    QByteArray payload;
    payload.append(char(1)).append(char(1));
    payload.append(char(number & 0xFF)).append(char(number >> 8)).append(char(flags));
    payload.append(QByteArray(256, fill));
    return protocol::mcu::buildFrame(start, {}, 0x7901, payload);
}

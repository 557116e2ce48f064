// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/CommandOutcome.h"
#include "fwm/Findings.h"
#include "fwm/JsonPlaces.h"

#include <optional>

/** A request as its author wrote it, and the package's description that it stands for. */
struct RequestFile
{
    QString path;
    JsonPlaces places;
    /** The short form, with a list of "images"; otherwise the long one, with a list of "chips". */
    bool isShort = false;
    /** The long form: the file itself, or what a short request stands for. */
    QByteArray description;
    /** What is wrong with it as a text or in its short form; places are those of the file. */
    QVector<Finding> findings;
    /** Why there is no description. */
    std::optional<CommandOutcome> failure;

    /** "r.json:3:18" for a value of the description. */
    QString where(const QString &place) const;
    /** Findings in the order of the file, with their places there as details. */
    QVector<Warning> shown(QVector<Finding> findings, Finding::Severity severity) const;

private:
    QString ownPlace(const QString &place) const;
};

RequestFile readRequest(const QString &path);

// What goes from one device to the next, through a file: each device has a process of its own.
#pragma once

#include <QString>

struct Kept {
    QString operatorName;
    QString flow;            ///< the word of the flow chosen last
    bool mechanics = false;  ///< friction and capstan were asked for
    QString device;          ///< the device before, by name, model and serial number; empty where none was opened
    QString reportTime;      ///< when its report was written; empty where none was
    QString ended;           ///< how its window ended, where that was not by a person's hand
};

/// What a file holds; nothing kept where it cannot be read or is no such file.
Kept readKept(const QString& file);
/// Whether it could be written. The file is the user's alone.
bool writeKept(const QString& file, const Kept& kept);

/// The file of the report, which each one replaces.
QString reportFile();
/// When the report that is there was written, as it is kept and shown; empty where there is none.
QString reportTime();

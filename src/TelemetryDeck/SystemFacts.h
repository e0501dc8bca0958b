#pragma once
// Facts of this machine and this build that every signal carries, read once per process:
// the operating system, its version, the CPU architecture, the hardware model.

#include <QString>

struct SystemFacts {
    QString operatingSystem; // "Linux", "macOS", …
    int majorVersion = 0;    // the distribution's version (os-release), else the kernel's
    int minorVersion = 0;
    int patchVersion = 0;
    QString architecture;    // "x86_64", "arm64", …
    QString modelName;       // the board's product name where the system exposes it, else the machine

    static const SystemFacts &current();

    // "<os> major.minor.patch" and so on.
    QString systemVersion() const;
    QString majorSystemVersion() const;
    QString majorMinorSystemVersion() const;

    // The numbers of a version text such as "12", "22.04" or "6.1.0-18-amd64": up to three.
    static void parseVersion(const QString &text, int &major, int &minor, int &patch);
};

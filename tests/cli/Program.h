#pragma once

#include "engine/types.h"
#include "tests/platform/Tools.h"
#include "tests/support/TempDir.h"

#include <QProcess>
#include <QStringList>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace cli::test {

using platform::test::contentOf;

/// What a run of the program came to.
struct Result {
    int code = -1;
    std::string out;
    std::string err;

    /// Standard output without its line ends.
    [[nodiscard]] std::vector<std::string> lines() const {
        std::vector<std::string> all;
        for (const QString& line : QString::fromStdString(out).split(u'\n', Qt::SkipEmptyParts))
            all.push_back(line.toStdString());
        return all;
    }
};

inline Result waitFor(QProcess& process) {
    if (!process.waitForFinished(120'000))
        process.kill();
    const bool exited = process.exitStatus() == QProcess::NormalExit;
    return {exited ? process.exitCode() : -1, process.readAllStandardOutput().toStdString(),
            process.readAllStandardError().toStdString()};
}

inline void start(QProcess& process, const std::vector<std::string>& arguments) {
    QStringList list;
    for (const std::string& argument : arguments)
        list.append(QString::fromStdString(argument));
    process.start(QStringLiteral(ORVANE_CLI), list);
}

inline Result run(const std::vector<std::string>& arguments) {
    QProcess process;
    start(process, arguments);
    return waitFor(process);
}

/// Runs a line of the shell, in which $CLI stands for the program.
inline Result shell(const std::string& line) {
    QProcess process;
    process.start(QStringLiteral("/bin/bash"),
                  {QStringLiteral("-c"),
                   QStringLiteral("CLI='" ORVANE_CLI "'; ") + QString::fromStdString(line)});
    return waitFor(process);
}

inline void write(const std::filesystem::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

inline void write(const std::filesystem::path& path, const std::vector<kova::uint8>& bytes) {
    write(path, std::string(bytes.begin(), bytes.end()));
}

/// Every path below `folder` with the file's content, "/" for a folder.
inline std::map<std::string, std::string> filesBelow(const std::filesystem::path& folder) {
    std::map<std::string, std::string> found;
    if (!std::filesystem::exists(folder))
        return found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        found[entry.path().lexically_relative(folder).string()] =
            entry.is_directory() ? "/" : contentOf(entry.path());
    return found;
}

/// Bytes that do not repeat soon.
inline std::string noise(std::size_t size, unsigned seed) {
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        seed = seed * 1664525U + 1013904223U;
        byte = static_cast<char>(seed >> 24);
    }
    return bytes;
}

} // namespace cli::test

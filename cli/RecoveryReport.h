#pragma once

#include "cli/Source.h"
#include "engine/ByteRange.h"
#include "engine/ZTreeListing.h"
#include "workers/RecoveredFile.h"
#include "workers/RecoveryList.h"
#include "workers/RecoveryOutcome.h"

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <string>
#include <vector>

/// What came of a recovery, file by file, for who has to answer for it.
class RecoveryReport {
public:
    enum class Result {
        Recovered,
        InPart,
        Failed,
        NotAttempted, ///< The recovery ended before, or a folder above could not be created.
    };

    /// More pieces of a file than anyone reads; the number of all is told.
    static constexpr std::size_t kMostPieces = 32;

    /// One file, or a folder that could not be created.
    struct File {
        std::size_t entry = 0; ///< Its index in the listing.
        QString path;          ///< Below the output directory; empty when there is nothing.
        QString reason;        ///< Why it is not whole, or may not be what it was.
        QByteArray sha256;     ///< Of what was written, 32 bytes; or empty.
        std::vector<kova::ByteRange> place; ///< Where it lay on the volume: the first pieces.
        std::size_t pieces = 0;             ///< Of how many.
        kova::int64 writtenBytes = 0;
        kova::FileState state;
        bool isVerified = false; ///< Read back, and the same as what was written.
        Result result = Result::NotAttempted;
    };

    /// What was read. Serial number and label are empty when there is none.
    struct Volume {
        QString name; ///< The device or the image file.
        int partition = 0;
        QString fileSystem;
        QString label;
        QString serial;
        kova::uint64 sizeBytes = 0;
    };

    /// `source` has been scanned into `list`'s listing; all of it is used until the end.
    RecoveryReport(Source& source, RecoveryList list, QString outputDirectory);

    /// Bytes that the report will hardly be longer than.
    [[nodiscard]] kova::uint64 forecastBytes() const;

    void add(const RecoveredFile& file);

    /// Adds what was not attempted, and takes back what may not have arrived.
    void finish(const RecoveryOutcome& outcome);

    [[nodiscard]] const kova::ZTreeListing& listing() const { return *list_.listing; }

    [[nodiscard]] const std::vector<File>& files() const { return files_; }

    [[nodiscard]] const Volume& volume() const { return volume_; }

    [[nodiscard]] const QString& outputDirectory() const { return output_; }

    [[nodiscard]] const RecoveryOutcome& outcome() const { return outcome_; }

    /// Times as FILETIME.
    [[nodiscard]] kova::int64 begun() const { return begun_; }

    [[nodiscard]] kova::int64 ended() const { return ended_; }

    /// Why not all files were attempted, as a clause; empty when all were.
    [[nodiscard]] QString earlyEnd() const;

    /// The folder that an entry lay in, as a path without a leading slash.
    [[nodiscard]] std::wstring folderOf(std::size_t entry) const;

    /// In one word or two.
    [[nodiscard]] static const char* nameOf(Result result);

private:
    kova::ZVolume& source_;
    RecoveryList list_;
    QString output_;
    Volume volume_;
    kova::int64 begun_;
    kova::int64 ended_ = 0;
    RecoveryOutcome outcome_;
    std::vector<File> files_;
};

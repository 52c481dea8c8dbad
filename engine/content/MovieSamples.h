#pragma once

#include "engine/content/ContentReader.h"

#include <memory>
#include <string_view>
#include <vector>

namespace kova {

/// Where the samples of a movie lie in its file, by its tables, and what is known of how they
/// begin: enough to tell whether what lies there is one of them.
class MovieSamples {
public:
    /// Takes the boxes of the tracks in a box "moov", whose data lie between two offsets of the
    /// reader's source. The tables may be of any size: what is kept is bounded.
    void takeMovie(ContentReader& reader, uint64 at, uint64 end);

    /// To be called once after all is taken, with a reader of the file: puts the samples into its
    /// order, and learns from the first ones how those of each sound begin, if they do alike.
    void prepare(ContentReader& reader);

    /// Offset of the first byte of any sample, and of the byte behind the last; 0 without samples.
    [[nodiscard]] uint64 begin() const { return begin_; }

    [[nodiscard]] uint64 end() const { return end_; }

    /// Whether there are samples that can be checked.
    [[nodiscard]] bool canCheck() const { return !samples_.empty(); }

    /// What a walk over samples comes to.
    struct Walk {
        bool isSound = true;
        uint64 sound = 0;   ///< The end of the last sample that is right.
        uint64 wrongAt = 0; ///< A wrong byte lies before, when it is not sound.
        uint64 points = 0;  ///< How much speaks for what is right.
    };

    /// As many points are no accident.
    static constexpr uint64 kSure = 8;

    /// Looks at the samples that reach beyond byte `from` of the file, until there are `enough`
    /// points for what lies behind it or those that are left end beyond `to`.
    [[nodiscard]] Walk walk(ContentReader& reader, uint64 from, uint64 to = UINT64_MAX,
                            uint64 enough = UINT64_MAX) const {
        return walkSome(reader, from, to, enough, 1);
    }

    /// Looks at all, or, as a movie can be very long, at so many that a part which does not belong
    /// to it shows.
    [[nodiscard]] Walk walkAll(ContentReader& reader) const;

private:
    enum class Coding { Unknown, Nal264, Nal265, Jpeg, Sound };

    struct Track {
        Coding coding = Coding::Unknown;
        uint8 lengthBytes = 4; ///< Of a unit's length.
        uint8 firstByte = 0;   ///< Of nearly all samples, without its lowest bit.
        bool isLearnt = false;
    };

    struct Sample {
        uint64 offset = 0;
        uint32 bytes = 0;
        uint32 track = 0;

        [[nodiscard]] uint64 end() const { return offset + bytes; }
    };

    /// Offsets of a track's tables.
    struct Tables {
        uint64 description = 0;
        uint64 sizes = 0;
        uint64 compactSizes = 0;
        uint64 chunks = 0;
        uint64 longChunks = 0;
        uint64 samplesOfChunks = 0;
        uint64 end = 0;
    };

    enum class Answer { CannotTell, Yes, No };

    [[nodiscard]] Walk walkSome(ContentReader& reader, uint64 from, uint64 to, uint64 enough,
                                std::size_t step) const;
    void learn(ContentReader& reader);
    void collect(ContentReader& reader, uint64 at, uint64 end, int depth, Tables& tables);
    void takeTrack(ContentReader& reader, const Tables& tables);
    bool takeSamples(ContentReader& reader, const Tables& tables, bool keeps);
    [[nodiscard]] static std::vector<uint64> chunksOf(ContentReader& reader, const Tables& tables);
    [[nodiscard]] static std::vector<uint32> samplesOf(ContentReader& reader, const Tables& tables,
                                                       std::size_t chunks);
    [[nodiscard]] static Track trackOf(ContentReader& reader, uint64 description, uint64 end);
    /// Says in `toldAt` before which byte it could tell.
    [[nodiscard]] Answer check(ContentReader& reader, const Sample& sample, uint64& toldAt) const;
    [[nodiscard]] static Answer checkUnits(ContentReader& reader, const Sample& sample,
                                           const Track& track, uint64& toldAt);

    std::vector<Track> tracks_;
    std::vector<Sample> samples_; ///< Of tracks that can be checked.
    uint64 begin_ = 0;
    uint64 end_ = 0;
};

} // namespace kova

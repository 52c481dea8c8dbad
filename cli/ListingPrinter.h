#pragma once

#include "cli/Output.h"
#include "cli/Selection.h"
#include "engine/ZTreeListing.h"
#include "engine/ZVolume.h"
#include "format/JsonLine.h"

/// Prints what a scan has found. Each way of printing throws what `Output` does, and
/// `Interruption::Stop` when the user asks to stop.
class ListingPrinter {
public:
    /// `volume` has been scanned into the listing's tree.
    ListingPrinter(const kova::ZTreeListing& listing, const Selection& selection,
                   kova::ZVolume& volume, Output& output)
        : listing_(listing), selection_(selection), volume_(volume), output_(output) {}

    /// For people: sizes, dates, states, names indented by their depth, and a sum.
    void printTree();

    /// One path per line.
    void printPaths();

    /// One JSON object per line.
    void printJson();

private:
    [[nodiscard]] kova::FileState stateOf(const kova::ZFileTreeNode& node) const;

    void addState(format::JsonLine& line, const kova::ZFileTreeNode& node) const;

    template <typename Print>
    void forEachSelected(Print print);

    const kova::ZTreeListing& listing_;
    const Selection& selection_;
    kova::ZVolume& volume_;
    Output& output_;
};

#pragma once

#include "cli/Output.h"
#include "cli/Selection.h"
#include "engine/ZTreeListing.h"

/// Prints what a scan has found. Each way of printing throws what `Output` does, and
/// `Interruption::Stop` when the user asks to stop.
class ListingPrinter {
public:
    ListingPrinter(const kova::ZTreeListing& listing, const Selection& selection, Output& output)
        : listing_(listing), selection_(selection), output_(output) {}

    /// For people: sizes, dates, names indented by their depth, and a sum.
    void printTree();

    /// One path per line.
    void printPaths();

    /// One JSON object per line.
    void printJson();

private:
    template <typename Print>
    void forEachSelected(Print print);

    const kova::ZTreeListing& listing_;
    const Selection& selection_;
    Output& output_;
};

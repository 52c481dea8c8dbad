#include "cli/ListingPrinter.h"

#include "cli/Interruption.h"
#include "cli/States.h"
#include "format/WideText.h"
#include "model/counted.h"
#include "model/texts.h"

using kova::int64;
using kova::ZFileTreeNode;
using Entry = kova::ZTreeListing::Entry;

template <typename Print>
void ListingPrinter::forEachSelected(Print print) {
    for (std::size_t i = 0; i < listing_.entries().size(); ++i) {
        Interruption::throwIfRequested();
        if (selection_.contains(i))
            print(listing_.entries()[i], i);
    }
    output_.flush();
}

/// What still exists is whole, wherever it lies.
kova::FileState ListingPrinter::stateOf(const ZFileTreeNode& node) const {
    return node.isDirectory || node.exists ? kova::FileState() : volume_.assess(node);
}

void ListingPrinter::printTree() {
    constexpr int kSizeColumns = 12;
    constexpr int kTimeColumns = 17;
    constexpr qsizetype kIndent = 2;
    const auto line = [&](const QString& size, const QString& time, QChar state, bool exists) {
        return QStringLiteral("%1  %2 %3%4 ")
            .arg(size, kSizeColumns)
            .arg(time, -kTimeColumns)
            .arg(state)
            .arg(exists ? QStringLiteral("+") : QStringLiteral(" "));
    };

    int64 files = 0;
    int64 folders = 0;
    int64 bytes = 0;
    output_.print(line(QStringLiteral("Size"), QStringLiteral("Modified"), u' ', false) +
                  QStringLiteral("Name (+ still exists, %1)").arg(States::legend()));
    forEachSelected([&](const Entry& entry, std::size_t /*index*/) {
        const ZFileTreeNode& node = *entry.node;
        ++(node.isDirectory ? folders : files);
        bytes += node.isDirectory ? 0 : node.size;
        output_.print(line(node.isDirectory ? QString() : formatSize(node.size),
                           formatFileTime(node.modificationTime),
                           States::letterOf(stateOf(node).kind), node.exists) +
                      QString(entry.depth * kIndent, u' ') + displayName(toQString(node.name)) +
                      (node.isDirectory ? QStringLiteral("/") : QString()));
    });
    output_.print({});
    output_.print(QStringLiteral("%1 (%2) and %3 found.")
                      .arg(counted(files, "file"), formatSize(bytes), counted(folders, "folder")));
    output_.flush();
}

void ListingPrinter::printPaths() {
    forEachSelected([this](const Entry& /*entry*/, std::size_t index) {
        const std::wstring path = listing_.path(index);
        if (output_.isTerminal())
            output_.print(toQString(path));
        else
            output_.printRaw(format::utf8FromWide(path));
    });
}

void ListingPrinter::printJson() {
    forEachSelected([this](const Entry& entry, std::size_t index) {
        const ZFileTreeNode& node = *entry.node;
        format::JsonLine line;
        line.add("id", node.id)
            .add("parentId", node.parentId)
            .add("path", listing_.path(index))
            .add("name", node.name)
            .add("directory", node.isDirectory)
            .add("exists", node.exists)
            .add("attributes", kova::uint64{node.attributes})
            .add("size", node.size)
            .addTime("created", node.creationTime)
            .addTime("modified", node.modificationTime)
            .addTime("accessed", node.accessTime);
        addState(line, node);
        output_.printRaw(line.text());
    });
}

void ListingPrinter::addState(format::JsonLine& line, const ZFileTreeNode& node) const {
    if (node.isDirectory || node.exists)
        return;
    const kova::FileState state = stateOf(node);
    line.add("state", std::string_view(States::nameOf(state.kind)));
    if (state.taken > 0)
        line.add("clusters", state.clusters).add("clustersTaken", state.taken);
}

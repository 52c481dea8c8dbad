#include "cli/ListingPrinter.h"

#include "cli/Interruption.h"
#include "cli/JsonLine.h"
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

void ListingPrinter::printTree() {
    constexpr int kSizeColumns = 12;
    constexpr int kTimeColumns = 17;
    constexpr qsizetype kIndent = 2;
    const auto line = [&](const QString& size, const QString& time, bool exists) {
        return QStringLiteral("%1  %2  %3 ")
            .arg(size, kSizeColumns)
            .arg(time, -kTimeColumns)
            .arg(exists ? QStringLiteral("+") : QStringLiteral(" "));
    };

    int64 files = 0;
    int64 folders = 0;
    int64 bytes = 0;
    output_.print(line(QStringLiteral("Size"), QStringLiteral("Modified"), false) +
                  QStringLiteral("Name (+ still exists)"));
    forEachSelected([&](const Entry& entry, std::size_t /*index*/) {
        const ZFileTreeNode& node = *entry.node;
        ++(node.isDirectory ? folders : files);
        bytes += node.isDirectory ? 0 : node.size;
        output_.print(line(node.isDirectory ? QString() : formatSize(node.size),
                           formatFileTime(node.modificationTime), node.exists) +
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
        JsonLine line;
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
        output_.printRaw(line.text());
    });
}

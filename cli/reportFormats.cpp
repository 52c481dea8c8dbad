#include "cli/reportFormats.h"

#include "cli/States.h"
#include "format/JsonLine.h"
#include "format/isoTime.h"
#include "model/counted.h"
#include "model/texts.h"

#include <QStringList>

#include <utility>

namespace {

using format::JsonLine;
using kova::FileState;
using kova::ZFileTreeNode;
using File = RecoveryReport::File;
using End = RecoveryOutcome::End;

const QString kProgram = QStringLiteral("Orvane " ORVANE_VERSION);

const ZFileTreeNode& nodeOf(const RecoveryReport& report, const File& file) {
    return *report.listing().entries()[file.entry].node;
}

QString timeText(kova::int64 fileTime) {
    return QString::fromStdString(format::isoTime(fileTime));
}

QString stateText(const FileState& state) {
    return QLatin1String(States::nameOf(state.kind));
}

QString sumText(const RecoveryOutcome& outcome) {
    return QStringLiteral("%1 of %2 (%3); %4 only in part, %5 failed, %6 not attempted; "
                          "%7 read back and compared")
        .arg(QString::number(outcome.complete), counted(outcome.files, "file"),
             formatSize(static_cast<kova::int64>(outcome.completeBytes)),
             QString::number(outcome.incomplete), QString::number(outcome.failed),
             QString::number(outcome.notAttempted()), QString::number(outcome.verified));
}

/// "offset+length" for each piece, in bytes of the volume.
QString placeText(const File& file) {
    if (file.state.kind == FileState::Kind::Resident)
        return QStringLiteral("in its record");
    QStringList pieces;
    for (const kova::ByteRange& piece : file.place)
        pieces += QStringLiteral("%1+%2").arg(piece.start).arg(piece.length);
    if (file.pieces > file.place.size())
        pieces += QStringLiteral("and %1 more").arg(file.pieces - file.place.size());
    return pieces.join(u' ');
}

// HTML

/// Escaped, and with a number for what would not be seen, or would change the order of the rest.
QString visible(const QString& text) {
    QString shown;
    for (qsizetype at = 0; at < text.size(); ++at) {
        const QChar unit = text[at];
        if (unit.isHighSurrogate() && at + 1 < text.size() && text[at + 1].isLowSurrogate()) {
            shown += text.mid(at++, 2);
            continue;
        }
        switch (unit.category()) {
        case QChar::Other_Control:
        case QChar::Other_Format:
        case QChar::Other_Surrogate:
        case QChar::Separator_Line:
        case QChar::Separator_Paragraph:
            shown +=
                QStringLiteral("[U+%1]").arg(unit.unicode(), 4, 16, QLatin1Char('0')).toUpper();
            break;
        default:
            shown += unit;
        }
    }
    return shown.toHtmlEscaped();
}

std::string utf8(const QString& text) {
    return text.toUtf8().toStdString();
}

constexpr std::string_view kHtmlHead =
    R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
<title>Recovery report</title>
<style>
body { font: 14px/1.4 sans-serif; margin: 2em; color: #222; }
table { border-collapse: collapse; }
th, td { border: 1px solid #ccc; padding: 3px 8px; text-align: left; vertical-align: top; }
th { background: #f2f2f2; }
td { overflow-wrap: anywhere; min-width: 5em; }
td.number { text-align: right; white-space: nowrap; }
td.times { white-space: nowrap; }
code { font-size: 12px; }
.early { color: #a00; font-weight: bold; }
.files tr.only, .files tr.failed { background: #fff3f0; }
.files tr.not { color: #777; }
</style>
</head>
<body>
<h1>Recovery report</h1>
)";

class HtmlReport {
public:
    HtmlReport(const RecoveryReport& report, ReportFile& file) : report_(report), file_(file) {}

    void write() {
        file_.write(kHtmlHead);
        if (const QString early = report_.earlyEnd(); !early.isEmpty())
            file_.write(
                utf8(QStringLiteral("<p class=\"early\">The recovery ended early: %1.</p>\n")
                         .arg(visible(early))));
        writeFacts();
        file_.write("<p>Times are in UTC. A place is told by pieces, as offset+length in bytes "
                    "from the start of the volume.</p>\n<table class=\"files\">\n<tr>");
        for (const char* title : {"Recovered as", "Name", "Folder", "Size", "Written", "Result",
                                  "State", "SHA-256", "Created, modified, accessed", "Place"})
            file_.write("<th>" + std::string(title) + "</th>");
        file_.write("</tr>\n");
        for (const File& file : report_.files())
            writeRow(file);
        file_.write("</table>\n</body>\n</html>\n");
    }

private:
    void writeFacts() {
        const RecoveryReport::Volume& volume = report_.volume();
        file_.write("<table>\n");
        fact("Program", kProgram);
        fact("Source", volume.name);
        if (volume.partition != 0)
            fact("Partition", QString::number(volume.partition));
        fact("File system", volume.fileSystem);
        fact("Label", volume.label);
        fact("Serial number", volume.serial);
        fact("Size", QStringLiteral("%1 bytes").arg(volume.sizeBytes));
        fact("Written to", report_.outputDirectory());
        fact("Begun", timeText(report_.begun()));
        fact("Ended", timeText(report_.ended()));
        fact("Recovered", sumText(report_.outcome()));
        file_.write("</table>\n");
    }

    void fact(const char* title, const QString& value) {
        if (!value.isEmpty())
            file_.write("<tr><th>" + std::string(title) + "</th><td>" + utf8(visible(value)) +
                        "</td></tr>\n");
    }

    void writeRow(const File& file) {
        const ZFileTreeNode& node = nodeOf(report_, file);
        const std::string result = RecoveryReport::nameOf(file.result);
        file_.write("<tr class=\"" + result.substr(0, result.find(' ')) + "\">");
        cell(visible(file.path));
        cell(visible(toQString(node.name)));
        cell(visible(toQString(report_.folderOf(file.entry))));
        cell(QString::number(node.size), " class=\"number\"");
        cell(QString::number(file.writtenBytes), " class=\"number\"");
        cell(QString::fromStdString(result) +
             (file.reason.isEmpty() ? QString() : QStringLiteral(": ") + visible(file.reason)));
        cell(stateText(file.state));
        cell(QStringLiteral("<code>%1</code>%2")
                 .arg(QLatin1String(file.sha256.toHex()),
                      file.isVerified ? QStringLiteral("<br>read back, the same") : QString()));
        cell(QStringLiteral("%1<br>%2<br>%3")
                 .arg(timeText(node.creationTime), timeText(node.modificationTime),
                      timeText(node.accessTime)),
             " class=\"times\"");
        cell(placeText(file));
        file_.write("</tr>\n");
    }

    void cell(const QString& html, const char* attributes = "") {
        file_.write("<td" + std::string(attributes) + ">" + utf8(html) + "</td>");
    }

    const RecoveryReport& report_;
    ReportFile& file_;
};

// CSV

/// What spreadsheets take for the start of a formula, the wide forms too.
bool beginsFormula(const QString& text) {
    static const QString kStarts = QStringLiteral("=+-@\t\r\uFF1D\uFF0B\uFF0D\uFF20");
    return !text.isEmpty() && kStarts.contains(text.front());
}

QString csvCell(QString text) {
    text.replace(QChar(u'\0'), QChar(QChar::ReplacementCharacter));
    if (beginsFormula(text))
        text.prepend(u'\'');
    if (!text.contains(u'"') && !text.contains(u',') && !text.contains(u'\n') &&
        !text.contains(u'\r'))
        return text;
    return u'"' + text.replace(u'"', QStringLiteral("\"\"")) + u'"';
}

void writeCsvRow(const QStringList& cells, ReportFile& file) {
    QStringList escaped;
    for (const QString& text : cells)
        escaped += csvCell(text);
    file.write(utf8(escaped.join(u',')) + "\r\n");
}

void writeCsv(const RecoveryReport& report, ReportFile& out) {
    const RecoveryReport::Volume& volume = report.volume();
    const QString partition = volume.partition == 0 ? QString() : QString::number(volume.partition);
    const QString early = report.earlyEnd();
    const QStringList common{volume.name,
                             partition,
                             volume.fileSystem,
                             volume.label,
                             volume.serial,
                             QString::number(volume.sizeBytes),
                             timeText(report.begun()),
                             timeText(report.ended()),
                             early.isEmpty() ? QString() : QStringLiteral("early: ") + early,
                             kProgram};
    out.write("\xEF\xBB\xBF");
    out.write(
        "path,name,folder,size,written,sha256,verified,result,reason,state,clusters,clustersTaken,"
        "created,modified,accessed,place,source,partition,fileSystem,label,serial,"
        "volumeSize,begun,ended,end,program\r\n");
    for (const File& file : report.files()) {
        const ZFileTreeNode& node = nodeOf(report, file);
        QStringList cells{file.path,
                          toQString(node.name),
                          toQString(report.folderOf(file.entry)),
                          QString::number(node.size),
                          QString::number(file.writtenBytes),
                          QLatin1String(file.sha256.toHex()),
                          file.isVerified ? QStringLiteral("yes") : QStringLiteral("no"),
                          QLatin1String(RecoveryReport::nameOf(file.result)),
                          file.reason,
                          stateText(file.state),
                          QString::number(file.state.clusters),
                          QString::number(file.state.taken),
                          timeText(node.creationTime),
                          timeText(node.modificationTime),
                          timeText(node.accessTime),
                          placeText(file)};
        writeCsvRow(cells + common, out);
    }
}

// JSON

const char* nameOf(End end) {
    switch (end) {
    case End::Done:
        return "done";
    case End::Stopped:
        return "stopped";
    case End::SourceGone:
        return "sourceGone";
    case End::OutputFull:
        return "outputFull";
    case End::OutputUnwritable:
        break;
    }
    return "outputUnwritable";
}

std::string jsonOf(const RecoveryReport::Volume& volume) {
    JsonLine line;
    line.add("name", toWide(volume.name));
    if (volume.partition != 0)
        line.add("partition", kova::int64{volume.partition});
    return line.add("fileSystem", toWide(volume.fileSystem))
        .add("label", toWide(volume.label))
        .add("serial", toWide(volume.serial))
        .add("size", volume.sizeBytes)
        .text();
}

std::string jsonOfRecovery(const RecoveryReport& report) {
    const RecoveryOutcome& outcome = report.outcome();
    return JsonLine()
        .add("output", toWide(report.outputDirectory()))
        .addTime("begun", report.begun())
        .addTime("ended", report.ended())
        .add("end", std::string_view(nameOf(outcome.end)))
        .add("endsEarly", !report.earlyEnd().isEmpty())
        .add("reason", toWide(report.earlyEnd()))
        .add("files", kova::uint64{outcome.files})
        .add("recovered", kova::uint64{outcome.complete})
        .add("recoveredBytes", outcome.completeBytes)
        .add("onlyInPart", kova::uint64{outcome.incomplete})
        .add("failed", kova::uint64{outcome.failed})
        .add("verified", kova::uint64{outcome.verified})
        .add("notAttempted", kova::uint64{outcome.notAttempted()})
        .text();
}

std::string jsonOfPlace(const File& file) {
    std::string pieces = "[";
    for (const kova::ByteRange& piece : file.place) {
        if (pieces.size() > 1)
            pieces += ',';
        pieces += JsonLine().add("offset", piece.start).add("length", piece.length).text();
    }
    return pieces + ']';
}

std::string jsonOf(const RecoveryReport& report, const File& file) {
    const ZFileTreeNode& node = nodeOf(report, file);
    JsonLine line;
    line.add("id", node.id)
        .add("path", toWide(file.path))
        .add("name", node.name)
        .add("folder", report.folderOf(file.entry))
        .add("directory", node.isDirectory)
        .add("size", node.size)
        .add("written", file.writtenBytes)
        .add("sha256", std::string_view(file.sha256.toHex().toStdString()))
        .add("verified", file.isVerified)
        .add("result", std::string_view(RecoveryReport::nameOf(file.result)))
        .add("reason", toWide(file.reason))
        .add("state", std::string_view(States::nameOf(file.state.kind)))
        .add("clusters", file.state.clusters)
        .add("clustersTaken", file.state.taken)
        .addTime("created", node.creationTime)
        .addTime("modified", node.modificationTime)
        .addTime("accessed", node.accessTime)
        .add("inRecord", file.state.kind == FileState::Kind::Resident)
        .add("pieces", kova::uint64{file.pieces})
        .addJson("place", jsonOfPlace(file));
    return line.text();
}

void writeJson(const RecoveryReport& report, ReportFile& out) {
    out.write("{\"program\":\"" + kProgram.toStdString() +
              "\",\n\"source\":" + jsonOf(report.volume()) +
              ",\n\"recovery\":" + jsonOfRecovery(report) + ",\n\"files\":[");
    const char* separator = "\n";
    for (const File& file : report.files()) {
        out.write(std::exchange(separator, ",\n") + jsonOf(report, file));
    }
    out.write("\n]}\n");
}

} // namespace

void writeReport(const RecoveryReport& report, ReportFile& file) {
    switch (file.format()) {
    case ReportFile::Format::Html:
        HtmlReport(report, file).write();
        break;
    case ReportFile::Format::Csv:
        writeCsv(report, file);
        break;
    case ReportFile::Format::Json:
        writeJson(report, file);
        break;
    }
}

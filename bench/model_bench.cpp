#include "engine/ZFileTree.h"
#include "engine/ZVolume.h"
#include "pages/ResultFrame.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QHeaderView>
#include <QLineEdit>
#include <QScrollBar>
#include <QTest>
#include <QTreeView>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>

namespace kova::bench {
namespace {

constexpr int kFiles = 1'000'000;
constexpr int64 kRoot = 5;
constexpr int64 kFolder = 24;
constexpr int64 kFirstFile = 32;

/// What a user takes for an answer without a wait, and for a movement without a stutter.
constexpr double kMostToOpen = 1.0;
constexpr double kMostPerStep = 0.050;
constexpr double kMostToFind = 0.100;

/// A volume that is only there to be shown.
class NoVolume : public ZVolume {
public:
    using ZVolume::ZVolume;

    bool init() override { return true; }

    void scan(ZFileTree* /*tree*/) override {}

    bool extract(const ZFileTreeNode& /*node*/, ZStream* /*out*/) override { return false; }
};

/// One folder of a million deleted files.
ZFileTree* makeTree() {
    auto tree = std::make_unique<ZFileTree>();
    tree->rootId = kRoot;
    ZFileTreeNode node;
    node.id = kRoot;
    node.parentId = kNoParent;
    node.isDirectory = true;
    tree->insert(node);
    node.id = kFolder;
    node.parentId = kRoot;
    node.name = L"folder";
    tree->insert(node);
    node.parentId = kFolder;
    node.isDirectory = false;
    node.modificationTime = 133'000'000'000'000'000;
    for (int64 id = kFirstFile; id < kFirstFile + kFiles; ++id) {
        node.id = id;
        node.size = id;
        node.name = L"A photo from the camera " + std::to_wstring(id) + L".jpg";
        tree->insert(node);
    }
    return tree.release();
}

/// Seconds until the work is done and painted.
template <typename Work>
double shown(QWidget& page, Work work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    QCoreApplication::processEvents();
    page.repaint();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void expectWithin(benchmark::State& state, const char* what, double seconds, double limit) {
    state.counters[what] = seconds * 1000;
    if (seconds > limit)
        state.SkipWithError(
            (std::string(what) + " takes too long: " + std::to_string(seconds) + " s").c_str());
}

QApplication& application() {
    static int count = 1;
    static char name[] = "orvane_bench";
    static char* arguments[] = {name, nullptr};
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // Never freed: at the end of the program Qt has nothing left to free it with.
    static auto* const kInstance = new QApplication(count, arguments);
    return *kInstance;
}

/// The results page on a million files, each step as a user takes it. Counters are milliseconds.
void resultsPage(benchmark::State& state) {
    application();
    for (auto _ : state) {
        ResultFrame page;
        page.resize(1000, 700);
        page.show();
        auto* view = page.findChild<QTreeView*>(QStringLiteral("tree"));
        auto* media = new ZCustomMedia;
        ZFileTree* tree = makeTree();
        auto* volume = new NoVolume(media);

        const double init = shown(page, [&] { page.init(volume, tree); });
        const double open = shown(page, [&] { view->expand(view->model()->index(0, 0)); });

        QScrollBar* bar = view->verticalScrollBar();
        double scroll = 0;
        constexpr int kSteps = 50;
        for (int step = 0; step <= kSteps; ++step) {
            const auto to = static_cast<int>(static_cast<int64>(bar->maximum()) * step / kSteps);
            scroll = std::max(scroll, shown(page, [&] { bar->setValue(to); }));
            scroll = std::max(scroll, shown(page, [&] {
                                  bar->triggerAction(QAbstractSlider::SliderPageStepSub);
                              }));
        }
        double select = 0;
        for (int step = 0; step < kSteps; ++step) {
            const QPoint at(view->viewport()->width() / 4, 5 + step * 10);
            select = std::max(select, shown(page, [&] {
                                  QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, at);
                              }));
            select = std::max(select, shown(page, [&] {
                                  QTest::keyClick(view, Qt::Key_Down, Qt::ShiftModifier);
                              }));
        }
        const double all =
            shown(page, [&] { QTest::keyClick(view, Qt::Key_A, Qt::ControlModifier); });
        bar->setValue(0);
        const double scrollSelected = shown(page, [&] { bar->setValue(bar->maximum() / 2); });
        page.setDirectoryChooser([](const QString&) { return QString(); });
        const double ask = shown(page, [&] { page.recoverSelectedFiles(); });
        auto* line = page.findChild<QLineEdit*>(QStringLiteral("edtSearch"));
        const auto search = [&](const char* text) {
            return shown(page, [&] { line->setText(QLatin1String(text)); });
        };
        const double findAllSelected = search("photo");
        const double clearSelected = search("");
        view->clearSelection();
        const double find = std::max({search("a"), search("99"), search("*99?.jpg")});
        const double clear = search("");
        const double close = shown(page, [&] { page.cleanup(); });

        state.SetIterationTime(init + open + close);
        expectWithin(state, "open", init + open, kMostToOpen);
        expectWithin(state, "scroll_step", std::max(scroll, scrollSelected), kMostPerStep);
        expectWithin(state, "select_step", select, kMostPerStep);
        expectWithin(state, "select_all", all, kMostToOpen);
        expectWithin(state, "ask", ask, kMostToOpen);
        expectWithin(state, "search", find, kMostToFind);
        expectWithin(state, "search_all_selected", findAllSelected, kMostToOpen);
        expectWithin(state, "search_clear", std::max(clear, clearSelected), kMostToOpen);
        expectWithin(state, "close", close, kMostToOpen);
    }
}

BENCHMARK(resultsPage)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace kova::bench

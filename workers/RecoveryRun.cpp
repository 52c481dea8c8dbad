#include "workers/RecoveryRun.h"

#include <QMetaObject>

#include <utility>

RecoveryRun::RecoveryRun(const ScannedVolume& found, const QString& directory, RecoveryList list)
    : media_(*found.media()) {
    // Deleted files often share a name with one that exists, or with each other. Opening what
    // exists would mix two files in one; so each gets a name of its own.
    worker_.setExistingFile(RecoveryWorker::ExistingFile::KeepBoth);
    worker_.init(directory, found.volume(), std::move(list));
    // A disk may hang over one sector for half a minute; an end that is asked for does not wait.
    media_.setReadHook([this] {
        if (interrupted_)
            throw 0;
    });
}

RecoveryRun::~RecoveryRun() {
    interrupt();
    thread_.quit();
    thread_.wait();
    media_.setReadHook({});
}

void RecoveryRun::start() {
    connect(&worker_, &RecoveryWorker::ended, this, [this](const RecoveryOutcome& outcome) {
        running_ = false;
        media_.setReadHook({});
        emit finished(outcome);
    });
    connect(&worker_, &RecoveryWorker::finished, &thread_, &QThread::quit);
    connect(&thread_, &QThread::started, &worker_, &RecoveryWorker::start);
    running_ = true;
    worker_.moveToThread(&thread_);
    thread_.start(QThread::InheritPriority);
}

void RecoveryRun::stop() {
    if (running_)
        QMetaObject::invokeMethod(&worker_, &RecoveryWorker::stop);
}

void RecoveryRun::interrupt() {
    if (!running_)
        return;
    worker_.interrupt();
    interrupted_ = true; // After that, or the file would count as one that failed.
}

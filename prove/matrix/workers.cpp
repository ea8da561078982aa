#include "workers.h"

#include <sys/prctl.h>

#include <QEventLoop>
#include <QJsonDocument>
#include <QProcess>
#include <QTimer>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <deque>
#include <iostream>
#include <string>

#include "flowtime.h"

struct Workers::Worker {
    QProcess process;
    QTimer limit;
    std::deque<std::size_t> todo;
    bool busy = false;  ///< with the first one of them
    bool late = false;  ///< ended for its time
};

Workers::Workers(const QString& program, const QStringList& arguments, int jobs, int limit)
    : m_program(program), m_arguments(arguments), m_limit(limit) {
    for (int i = 0; i < jobs; ++i) {
        m_workers.push_back(std::make_unique<Worker>());
        Worker& worker = *m_workers.back();
        worker.process.setProcessChannelMode(QProcess::SeparateChannels);
        worker.limit.setSingleShot(true);
        connect(&worker.limit, &QTimer::timeout, this, [&worker] {
            worker.late = true;
            worker.process.kill();
        });
        connect(&worker.process, &QProcess::readyReadStandardOutput, this, [this, &worker] { readAnswers(worker); });
        connect(&worker.process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
                [this, &worker] { died(worker); });
        connect(&worker.process, &QProcess::errorOccurred, this, [this, &worker](QProcess::ProcessError error) {
            if (error == QProcess::FailedToStart)
                died(worker);
        });
    }
}

Workers::~Workers() {
    for (auto& worker : m_workers) {
        worker->process.disconnect(this);
        worker->process.closeWriteChannel();
        if (worker->busy || !worker->process.waitForFinished(3000))
            worker->process.kill();
        worker->process.waitForFinished(3000);
    }
}

bool Workers::play(const std::vector<Cell>& cells, std::vector<CellResult>& results,
                   const std::function<void(std::size_t)>& progress) {
    results.assign(cells.size(), CellResult());
    m_results = &results;
    m_progress = progress;
    m_left = cells.size();
    m_blocks.clear();
    for (std::size_t i = 0; i < cells.size(); ++i) {
        if (i == 0 || cells[i].test != cells[i - 1].test || cells[i].subject.name != cells[i - 1].subject.name)
            m_blocks.emplace_back();
        m_blocks.back().push_back(i);
    }
    QEventLoop loop;
    m_end = [&loop] { loop.quit(); };
    QTimer watch;
    connect(&watch, &QTimer::timeout, &loop, [&loop] {
        if (FlowTime::cancelled())
            loop.quit();
    });
    watch.start(100);
    QTimer::singleShot(0, this, [this] { deal(); });
    if (m_left > 0)
        loop.exec();
    return m_left == 0;
}

void Workers::deal() {
    for (auto& worker : m_workers) {
        if (!worker->busy)
            giveCell(*worker);
    }
}

/// The next block, or the half of what another one still has to do.
bool Workers::takeWork(Worker& worker) {
    if (!worker.todo.empty())
        return true;
    if (!m_blocks.empty()) {
        worker.todo.assign(m_blocks.front().begin(), m_blocks.front().end());
        m_blocks.erase(m_blocks.begin());
        return true;
    }
    auto& richest = *std::max_element(m_workers.begin(), m_workers.end(),
                                      [](const auto& a, const auto& b) { return a->todo.size() < b->todo.size(); });
    for (std::size_t take = richest->todo.size() / 2; take > 0; --take) {
        worker.todo.push_front(richest->todo.back());
        richest->todo.pop_back();
    }
    return !worker.todo.empty();
}

void Workers::startWorker(Worker& worker) { worker.process.start(m_program, m_arguments); }

void Workers::giveCell(Worker& worker) {
    if (!takeWork(worker))
        return;
    worker.busy = true;
    worker.late = false;
    worker.limit.start(1000 * m_limit);
    if (worker.process.state() == QProcess::NotRunning)
        startWorker(worker);
    worker.process.write(QByteArray::number(qulonglong(worker.todo.front())) + '\n');
}

void Workers::readAnswers(Worker& worker) {
    while (worker.process.canReadLine()) {
        const QByteArray line = worker.process.readLine();
        const QJsonObject answer = QJsonDocument::fromJson(line).object();
        if (!worker.busy || answer["cell"].toDouble(-1) != static_cast<double>(worker.todo.front())) {
            worker.process.kill();  // it speaks of something else
            return;
        }
        finishCell(worker, fromJson(answer));
    }
}

void Workers::finishCell(Worker& worker, const CellResult& result) {
    const std::size_t cell = worker.todo.front();
    worker.todo.pop_front();
    worker.limit.stop();
    worker.process.readAllStandardError();  // what it said so far is of cells that went well
    worker.busy = false;
    (*m_results)[cell] = result;
    --m_left;
    m_progress(cell);
    if (m_left == 0)
        m_end();
    else
        deal();
}

/// How it ended, and the last it said before that.
QString Workers::lastWords(Worker& worker) const {
    if (worker.late)
        return QString("no end within %1 s").arg(m_limit);
    if (worker.process.error() == QProcess::FailedToStart)
        return "the worker could not be started";
    const char* how = worker.process.exitStatus() == QProcess::CrashExit ? "the worker ended, by signal %1"
                                                                         : "the worker ended, with code %1";
    QString words = QString(how).arg(worker.process.exitCode());
    const QString said = QString::fromLocal8Bit(worker.process.readAllStandardError()).simplified();
    return said.isEmpty() ? words : words + ": " + said.right(300);
}

void Workers::died(Worker& worker) {
    if (!worker.busy)
        return;
    CellResult result;
    result.played = true;
    result.broken = lastWords(worker);
    // Not from within the process's own signal: the next cell starts it anew.
    QTimer::singleShot(0, this, [this, &worker, result] { finishCell(worker, result); });
}

int serveCells(const std::vector<Cell>& cells) {
    std::signal(SIGINT, SIG_IGN);  // the terminal's interrupt is for the one who started it
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::string line;
    while (std::getline(std::cin, line)) {
        const std::size_t number = std::stoul(line);
        if (number >= cells.size())
            return 2;
        CellResult result;
        try {
            result = examine(cells[number]);
        } catch (const std::exception& error) {
            result.broken = QString("an exception: %1").arg(error.what());
        }
        QJsonObject answer = toJson(result);
        answer["cell"] = static_cast<double>(number);
        const QByteArray text = QJsonDocument(answer).toJson(QJsonDocument::Compact) + '\n';
        std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stdout);
        std::fflush(stdout);
    }
    return 0;
}

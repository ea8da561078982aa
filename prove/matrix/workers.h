// Plays cells in processes of their own, so that one that crashes or hangs costs its cell alone.
#pragma once

#include <QObject>
#include <QStringList>
#include <functional>
#include <memory>
#include <vector>

#include "matrixplan.h"

class Workers : public QObject {
public:
    /// A worker is `program` with `arguments`: it reads the number of a cell on a line and answers with one line of
    /// JSON, until its input ends. It is ended when a cell takes longer than `limit` seconds.
    Workers(const QString& program, const QStringList& arguments, int jobs, int limit);
    ~Workers() override;

    /// Plays all, whatever becomes of a worker. Results stay as they are where FlowTime::cancel() came first; then
    /// this returns false. `progress` hears of each result.
    bool play(const std::vector<Cell>& cells, std::vector<CellResult>& results,
              const std::function<void(std::size_t)>& progress);

private:
    struct Worker;
    void deal();
    void startWorker(Worker& worker);
    void giveCell(Worker& worker);
    bool takeWork(Worker& worker);
    void readAnswers(Worker& worker);
    void finishCell(Worker& worker, const CellResult& result);
    QString lastWords(Worker& worker) const;
    void died(Worker& worker);

    QString m_program;
    QStringList m_arguments;
    int m_limit;
    std::vector<std::unique_ptr<Worker>> m_workers;
    std::vector<std::vector<std::size_t>> m_blocks;  ///< cells that share a healthy read-out
    std::size_t m_left = 0;
    std::vector<CellResult>* m_results = nullptr;
    std::function<void(std::size_t)> m_progress;
    std::function<void()> m_end;
};

/// The worker's side: answers until standard input ends. Returns the process's exit code.
int serveCells(const std::vector<Cell>& cells);

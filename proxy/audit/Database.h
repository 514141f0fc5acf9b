#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace MuxProxy {

// The audit's file cannot be opened, read or written. `what()` is a sentence for people that begins with the path.
class AuditFileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Bytes of any value, as a parameter. No copy.
struct Blob {
    const std::string& bytes;
};

// A prepared statement. Every function throws AuditFileError when SQLite fails. One thread; not longer than its
// database.
class Statement {
  public:
    Statement(sqlite3* database, const std::string& sql);

    // Sets the parameters from the first one on.
    template <typename... Values>
    Statement& Bind(const Values&... values) {
        Reset();
        int index = 0;
        (BindOne(++index, values), ...);
        return *this;
    }

    // Goes to the next row; false behind the last one.
    bool Step();
    // Executes it to its end.
    void Run();
    // The first column of the first row, or nothing; leaves no transaction open.
    std::optional<std::int64_t> FirstNumber();

    // Columns of the current row, from 0 on. Null is empty. The text of a blob has its bytes.
    std::optional<std::int64_t> Number(int column) const;
    std::string Text(int column) const;

    void Reset();

  private:
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const;
    };

    void BindOne(int index, std::int64_t value);
    void BindOne(int index, const std::string& value);
    void BindOne(int index, const Blob& value);
    // Nothing is null.
    template <typename Value>
    void BindOne(int index, const std::optional<Value>& value) {
        if (value) {
            BindOne(index, *value);
        }
    }
    void Check(int code) const;

    sqlite3* database_;
    std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

// A connection to a SQLite file. Every function throws AuditFileError when SQLite fails. One thread at a time.
class Database {
  public:
    // kUnchanging takes no lock and needs no second file: for a file that no process writes.
    enum class Access { kUnchanging, kReadOnly, kReadWrite };

    // The file must exist.
    Database(const std::string& path, Access access);

    Statement Prepare(const std::string& sql) const { return {database_.get(), sql}; }
    void Execute(const std::string& sql) const;
    // The first number that the statement returns, 0 without one.
    std::int64_t Number(const std::string& sql) const { return Prepare(sql).FirstNumber().value_or(0); }

    // How many rows the last statement that changes rows has changed.
    std::int64_t ChangedRows() const;

    // Whether the path names this file no more.
    bool HasMoved() const;
    bool IsInTransaction() const;
    // Moves what it can from the write-ahead log to the file, without waiting for anyone. False when something stays
    // behind, because a reader still needs the file as it is.
    bool Checkpoint() const;
    // Moves everything and empties the write-ahead log; waits for readers a while.
    void EmptyLog() const;
    // Pages in the write-ahead log after the last commit.
    int LogPages() const { return *logPages_; }

  private:
    struct Close {
        void operator()(sqlite3* database) const;
    };

    bool Checkpoint(int mode) const;

    std::unique_ptr<int> logPages_ = std::make_unique<int>(0);
    std::unique_ptr<sqlite3, Close> database_;
};

// Rolls back unless it is committed.
class Transaction {
  public:
    explicit Transaction(const Database& database) : database_(database) { database.Execute("BEGIN IMMEDIATE"); }
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void Commit() { database_.Execute("COMMIT"); }

  private:
    const Database& database_;
};

}  // namespace MuxProxy

// WRITE, READ and READ NEXT of an indexed file of 100-byte records, with a prime key of 10 digits and an
// alternate key of 10 bytes with duplicates, beside a C program that keeps the same rows by the sqlite3
// interface: one table, the prime key its primary key, an index on the other, prepared statements, all rows
// written in one transaction. Its random reads are without a transaction, as those of a program that must see
// what others commit, and with "transaction" in one. QRT_BENCH_RECORDS is the count of records, a million
// unless given. The peer has the cache and the journal of the record file; with "defaults" it has SQLite's
// own.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>
#include <sqlite3.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "file_program.h"

using qrt::FileProgram;

namespace {

constexpr uint32_t recordLength = 100;
constexpr uint32_t keyLength = 10;

uint32_t recordCount() {
  static const char* const text = getenv("QRT_BENCH_RECORDS");
  static const uint32_t count = text != nullptr ? static_cast<uint32_t>(atoi(text)) : 1'000'000;
  return count;
}

std::string folder() {
  const char* name = getenv("TMPDIR");
  return name != nullptr ? name : "/tmp";
}

void removeFile(const std::string& name) {
  for (const char* ending : {"", "-wal", "-shm", "-journal"}) remove((name + ending).c_str());
}

enum Order : int64_t { inKeyOrder, atRandom };

const std::vector<uint32_t>& numbers(int64_t order) {
  static std::vector<uint32_t> made[2];
  std::vector<uint32_t>& list = made[order];
  if (!list.empty()) return list;
  for (uint32_t at = 0; at < recordCount(); ++at) list.push_back(at);
  if (order == atRandom) std::shuffle(list.begin(), list.end(), std::mt19937(7));
  return list;
}

void putDigits(uint8_t* to, uint32_t number) {
  for (uint32_t at = keyLength; at-- > 0; number /= 10) to[at] = static_cast<uint8_t>('0' + number % 10);
}

// Four records to an alternate key.
void fillRecord(uint8_t* record, uint32_t number) {
  putDigits(record, number);
  putDigits(record + keyLength, static_cast<uint32_t>(uint64_t{number} * 7919 % (recordCount() / 4 + 1)));
  memset(record + 2 * keyLength, 'a' + static_cast<int>(number % 26), recordLength - 2 * keyLength);
}

// --- The record file --------------------------------------------------------------------------------------

struct Program : FileProgram {
  Program()
      : FileProgram(folder() + "/indexed_bench.dat", QRT_ORGANIZATION_INDEXED, QRT_ACCESS_RANDOM,
                    recordLength) {
    description.keyCount = 2;
    described.keys[0] = {0, keyLength, 0, {}};
    described.keys[1] = {keyLength, keyLength, QRT_KEY_DUPLICATES, {}};
  }
  bool write(uint32_t number) {
    fillRecord(file.record, number);
    return FileProgram::write();
  }
};

bool writeFile(Program& program, int64_t order) {
  if (!program.open(QRT_OPEN_OUTPUT | QRT_OPEN_CAN_WRITE)) return false;
  for (const uint32_t number : numbers(order))
    if (!program.write(number)) return false;
  return program.close();
}

void finish(benchmark::State& state, uint32_t count) {
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * count);
}

void BM_Write(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    Program program;
    removeFile(program.name);
    state.ResumeTiming();
    if (!writeFile(program, state.range(0))) state.SkipWithError("a record wasn't written");
  }
  finish(state, recordCount());
}

constexpr uint32_t readsInRound = 100'000;

void BM_ReadRandom(benchmark::State& state) {
  Program program;
  removeFile(program.name);
  if (!writeFile(program, state.range(0)) || !program.open(QRT_OPEN_INPUT | QRT_OPEN_CAN_READ))
    state.SkipWithError("no file");
  std::mt19937 random(3);
  for (auto _ : state)
    for (uint32_t at = 0; at < readsInRound; ++at) {
      putDigits(program.file.record, static_cast<uint32_t>(random() % recordCount()));
      if (!program.read()) state.SkipWithError("a record is missing");
    }
  program.close();
  removeFile(program.name);
  finish(state, readsInRound);
}

void BM_ReadNext(benchmark::State& state) {
  Program program;
  removeFile(program.name);
  if (!writeFile(program, state.range(0))) state.SkipWithError("no file");
  program.description.accessMode = QRT_ACCESS_SEQUENTIAL;
  for (auto _ : state) {
    uint32_t count = 0;
    program.open(QRT_OPEN_INPUT | QRT_OPEN_CAN_READ);
    while (program.read()) ++count;
    if (count != recordCount()) state.SkipWithError("records are missing");
    program.close();
  }
  removeFile(program.name);
  finish(state, recordCount());
}

// --- The peer ---------------------------------------------------------------------------------------------

struct Peer {
  const std::string fileName = folder() + "/indexed_bench.db";
  sqlite3* database = nullptr;
  sqlite3_stmt* statement = nullptr;
  uint8_t record[recordLength];

  ~Peer() { close(); }

  void open(bool defaults) {
    sqlite3_open(fileName.c_str(), &database);
    if (!defaults)
      execute(
          "PRAGMA journal_mode=WAL;PRAGMA synchronous=NORMAL;PRAGMA cache_size=-32768;"
          "PRAGMA secure_delete=OFF;PRAGMA wal_autocheckpoint=16000");
  }
  void execute(const char* sql) { sqlite3_exec(database, sql, nullptr, nullptr, nullptr); }
  void prepare(const char* sql) {
    sqlite3_finalize(statement);
    sqlite3_prepare_v2(database, sql, -1, &statement, nullptr);
  }
  void close() {
    sqlite3_finalize(statement);
    sqlite3_close(database);
    statement = nullptr;
    database = nullptr;
  }
  void bind(int parameter, uint32_t offset, uint32_t length) {
    sqlite3_bind_text(statement, parameter, reinterpret_cast<const char*>(record) + offset,
                      static_cast<int>(length), SQLITE_STATIC);
  }
  // The columns of the row, as one record.
  void take() {
    uint8_t* to = record;
    for (int column = 0; column < 3; ++column) {
      const int length = sqlite3_column_bytes(statement, column);
      memcpy(to, sqlite3_column_blob(statement, column), static_cast<size_t>(length));
      to += length;
    }
  }

  bool writeAll(int64_t order) {
    execute(
        "CREATE TABLE customers(number TEXT PRIMARY KEY,name TEXT,data TEXT);"
        "CREATE INDEX by_name ON customers(name);BEGIN");
    prepare("INSERT INTO customers VALUES(?,?,?)");
    for (const uint32_t number : numbers(order)) {
      fillRecord(record, number);
      bind(1, 0, keyLength);
      bind(2, keyLength, keyLength);
      bind(3, 2 * keyLength, recordLength - 2 * keyLength);
      if (sqlite3_step(statement) != SQLITE_DONE) return false;
      sqlite3_reset(statement);
    }
    execute("COMMIT");
    return true;
  }
};

void BM_WritePeer(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    Peer peer;
    removeFile(peer.fileName);
    state.ResumeTiming();
    peer.open(state.range(1) != 0);
    if (!peer.writeAll(state.range(0))) state.SkipWithError("a row wasn't written");
    peer.close();
  }
  finish(state, recordCount());
}

void BM_ReadRandomPeer(benchmark::State& state) {
  Peer peer;
  removeFile(peer.fileName);
  peer.open(false);
  peer.writeAll(state.range(0));
  peer.prepare("SELECT number,name,data FROM customers WHERE number=?");
  std::mt19937 random(3);
  for (auto _ : state) {
    if (state.range(1) != 0) peer.execute("BEGIN");
    for (uint32_t at = 0; at < readsInRound; ++at) {
      putDigits(peer.record, static_cast<uint32_t>(random() % recordCount()));
      peer.bind(1, 0, keyLength);
      if (sqlite3_step(peer.statement) != SQLITE_ROW) state.SkipWithError("a row is missing");
      peer.take();
      sqlite3_reset(peer.statement);
    }
    if (state.range(1) != 0) peer.execute("COMMIT");
  }
  peer.close();
  removeFile(peer.fileName);
  finish(state, readsInRound);
}

void BM_ReadNextPeer(benchmark::State& state) {
  Peer peer;
  removeFile(peer.fileName);
  peer.open(state.range(1) != 0);
  peer.writeAll(state.range(0));
  peer.close();
  for (auto _ : state) {
    uint32_t count = 0;
    peer.open(state.range(1) != 0);
    peer.prepare("SELECT number,name,data FROM customers ORDER BY number");
    for (; sqlite3_step(peer.statement) == SQLITE_ROW; ++count) peer.take();
    if (count != recordCount()) state.SkipWithError("rows are missing");
    peer.close();
  }
  removeFile(peer.fileName);
  finish(state, recordCount());
}

void recordFile(benchmark::internal::Benchmark* each) {
  each->ArgNames({"random"})->Arg(inKeyOrder)->Arg(atRandom)->Unit(benchmark::kMillisecond)->UseRealTime();
}
void ownSettings(benchmark::internal::Benchmark* each) {
  each->ArgNames({"random", "defaults"})->ArgsProduct({{inKeyOrder, atRandom}, {0, 1}});
  each->Unit(benchmark::kMillisecond)->UseRealTime();
}

void transactions(benchmark::internal::Benchmark* each) {
  each->ArgNames({"random", "transaction"})->ArgsProduct({{inKeyOrder, atRandom}, {0, 1}});
  each->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK(BM_Write)->Apply(recordFile)->Iterations(1);
BENCHMARK(BM_WritePeer)->Apply(ownSettings)->Iterations(1);
BENCHMARK(BM_ReadRandom)->Apply(recordFile);
BENCHMARK(BM_ReadRandomPeer)->Apply(transactions);
BENCHMARK(BM_ReadNext)->Apply(recordFile);
BENCHMARK(BM_ReadNextPeer)->Apply(ownSettings);

}  // namespace

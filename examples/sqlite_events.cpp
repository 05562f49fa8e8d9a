#include <csignal>
#include <sqlite3.h>
#include <tagwirexx/tagwire.hpp>

// Reads and states into a database: sqlite_events FILE READER...
int main(int argc, char** argv)
{
    sqlite3* file = nullptr;
    sqlite3_stmt* row = nullptr;
    if (argc < 3 || sqlite3_open(argv[1], &file) != SQLITE_OK) return 1;
    sqlite3_exec(file, "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;"
                 "CREATE TABLE IF NOT EXISTS events (at TEXT, reader TEXT, epc TEXT, port INT, what TEXT)",
                 nullptr, nullptr, nullptr);
    sqlite3_prepare_v2(file, "INSERT INTO events VALUES (datetime('now'), ?, ?, ?, ?)", -1, &row, nullptr);
    tagwire::Stream live;
    for (int i = 2; i < argc; ++i) live.add(argv[i]);
    live.start();
    tagwire::stop_on_signal(live, {SIGINT, SIGTERM});
    for (const tagwire::Event& event : live) {
        const tagwire::Read* read = event.read();
        sqlite3_bind_text(row, 1, event.source().c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(row, 2, read ? read->epc.to_string().c_str() : "", -1, SQLITE_TRANSIENT);
        sqlite3_bind_int(row, 3, read ? read->port.number() : 0);
        sqlite3_bind_text(row, 4, read ? "read" : event.text().c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_step(row);
        sqlite3_reset(row);
    }
    sqlite3_finalize(row);
    sqlite3_close(file);
}

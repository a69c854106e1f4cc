// duckdb.mjs: rows a second of DuckDB, one thread, over columns of random integers in memory, half of which lie between
// the bounds. Prints JSON. Usage: node duckdb.mjs FOLDER, which has @duckdb/node-api in its node_modules.
import { createRequire } from 'node:module';
const { DuckDBInstance, version } = createRequire(process.argv[2] + '/')('@duckdb/node-api');

const rows = 100_000_000, repeats = 9;
const connection = await (await DuckDBInstance.create(':memory:', { threads: '1' })).connect();
const rates = { duckdb: version() };
for (const [bits, type] of [[8, 'UTINYINT'], [16, 'USMALLINT'], [32, 'UINTEGER']]) {
    await connection.run(`CREATE TABLE t AS SELECT (hash(range) % ${2 ** bits})::${type} AS c FROM range(${rows})`);
    const query = `SELECT count(*) FROM t WHERE c BETWEEN ${2 ** (bits - 2)} AND ${3 * 2 ** (bits - 2) - 1}`;
    let best = Infinity;
    for (let i = 0; i < repeats; ++i) {
        const start = process.hrtime.bigint();
        await connection.runAndReadAll(query);
        best = Math.min(best, Number(process.hrtime.bigint() - start) / 1e9);
    }
    rates[`duckdb_between/${bits}bit`] = rows / best;
    await connection.run('DROP TABLE t');
}
console.log(JSON.stringify(rates));

// DuckDB reading a delimited file into a table in memory, one thread, every field as text: the
// peer bench_userpaths runs beside `mgimport8 import`. A measuring tool only.
//
//   node duckdb_read_csv.mjs FILE
//
// The @duckdb/node-api package is looked for in the node_modules folder that
// MGIMPORT8_DUCKDB_NODE_MODULES names, else in /tmp/duckpeer/node_modules (what
// `npm install --prefix /tmp/duckpeer @duckdb/node-api` makes). Prints the rows loaded and the
// seconds the statement took; exits 2 when the package is not there.
import { createRequire } from 'node:module';
import { join } from 'node:path';

const modules = process.env.MGIMPORT8_DUCKDB_NODE_MODULES || '/tmp/duckpeer/node_modules';
const file = process.argv[2];
if (!file) {
    console.error('usage: node duckdb_read_csv.mjs FILE');
    process.exit(2);
}
let duckdb;
try {
    duckdb = createRequire(join(modules, 'peer.js'))('@duckdb/node-api');
} catch (error) {
    console.error(`@duckdb/node-api not found under ${modules}: ${error.message}`);
    process.exit(2);
}

const instance = await duckdb.DuckDBInstance.create(':memory:', { threads: '1' });
const connection = await instance.connect();
const quoted = "'" + file.replaceAll("'", "''") + "'";
const start = process.hrtime.bigint();
await connection.run(`CREATE TABLE t AS SELECT * FROM read_csv(${quoted}, all_varchar = true, header = true)`);
const seconds = Number(process.hrtime.bigint() - start) / 1e9;
const count = await connection.runAndReadAll('SELECT count(*) FROM t');
console.log(`${count.getRows()[0][0]} rows in ${seconds.toFixed(3)} s`);

// usage: node duckdb.cjs MODULES INPUT OUTPUT NUMBERS THREADS SECONDS_FILE
// Merges INPUT (two key columns, then NUMBERS number columns, no header) into OUTPUT with DuckDB out of the folder
// MODULES, and writes the seconds that the query took, without the start of node and the loading of the engine.

const { createRequire } = require("node:module");
const fs = require("node:fs");

const [modules, input, output, numbers, threads, secondsFile] = process.argv.slice(2);
const { DuckDBInstance } = createRequire(`${modules}/`)("@duckdb/node-api");

const columns = Array.from({ length: Number(numbers) }, (_, i) => `n${i}`);
const types = ["k1: 'VARCHAR'", "k2: 'VARCHAR'", ...columns.map((name) => `${name}: 'BIGINT'`)];
const query = `
    COPY (
        SELECT k1, k2, ${columns.map((name) => `sum(${name})`).join(", ")}
        FROM read_csv('${input}', auto_detect = false, header = false, delim = ',', quote = '"', escape = '"',
                      new_line = '\\r\\n', columns = {${types.join(", ")}})
        GROUP BY k1, k2 ORDER BY k1, k2
    ) TO '${output}' (FORMAT csv, HEADER false)`;

async function main() {
    const instance = await DuckDBInstance.create(":memory:", { threads });
    const connection = await instance.connect();
    const start = process.hrtime.bigint();
    await connection.run(query);
    const seconds = Number(process.hrtime.bigint() - start) / 1e9;
    fs.writeFileSync(secondsFile, `${seconds}\n`);
    connection.closeSync();
}

main().catch((error) => {
    console.error(error);
    process.exitCode = 1;
});

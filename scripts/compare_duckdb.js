// Run by compare_duckdb.sh: node compare_duckdb.js TABLES ANSWERS [CSV]
//
// TABLES holds the benchmark's .tbl files, ANSWERS what colx_star --answers wrote; CSV is a file to
// write the table to.

const fs = require("fs");
const path = require("path");
const { DuckDBInstance } = require("@duckdb/node-api");

const RUNS = 5; // of each query; the fastest counts

const columns = {
  lineorder: `lo_orderkey INT, lo_linenumber INT, lo_custkey INT, lo_partkey INT, lo_suppkey INT,
    lo_orderdate INT, lo_orderpriority TEXT, lo_shippriority TEXT, lo_quantity INT,
    lo_extendedprice INT, lo_ordtotalprice INT, lo_discount INT, lo_revenue INT, lo_supplycost INT,
    lo_tax INT, lo_commitdate INT, lo_shipmode TEXT`,
  customer: `c_custkey INT, c_name TEXT, c_address TEXT, c_city TEXT, c_nation TEXT, c_region TEXT,
    c_phone TEXT, c_mktsegment TEXT`,
  supplier: `s_suppkey INT, s_name TEXT, s_address TEXT, s_city TEXT, s_nation TEXT, s_region TEXT,
    s_phone TEXT`,
  part: `p_partkey INT, p_name TEXT, p_mfgr TEXT, p_category TEXT, p_brand1 TEXT, p_color TEXT,
    p_type TEXT, p_size INT, p_container TEXT`,
  date: `d_datekey INT, d_date TEXT, d_dayofweek TEXT, d_month TEXT, d_year INT,
    d_yearmonthnum INT, d_yearmonth TEXT, d_daynuminweek INT, d_daynuminmonth INT,
    d_daynuminyear INT, d_monthnuminyear INT, d_weeknuminyear INT, d_sellingseason TEXT,
    d_lastdayinweekfl INT, d_lastdayinmonthfl INT, d_holidayfl INT, d_weekdayfl INT`,
};

// Lines end with a separator, so a file has one column more than its table.
async function load(connection, folder, table) {
  const file = path.join(folder, `${table}.tbl`);
  const fields = columns[table].split(",").map((field) => field.trim().split(/\s+/));
  const types = [...fields, ["behind", "TEXT"]].map(([name, type]) => `'${name}': '${type}'`);
  const names = fields.map(([name]) => name).join(", ");
  await connection.run(
    `create table ${table} as select ${names} from read_csv('${file}', delim = '|', quote = '',
     header = false, columns = {${types.join(", ")}})`
  );
}

// All cells as text; the sum of no row is 0.
const cells = (rows) => rows.map((row) => row.map((cell) => (cell === null ? "0" : String(cell))));

async function measure(connection, query) {
  let best = Infinity;
  let rows;
  for (let run = 0; run < RUNS; ++run) {
    const start = process.hrtime.bigint();
    const result = await connection.runAndReadAll(query.sql);
    best = Math.min(best, Number(process.hrtime.bigint() - start) / 1e6);
    rows = cells(result.getRows());
  }
  return { milliseconds: best, same: JSON.stringify(rows) === JSON.stringify(query.rows) };
}

async function main([folder, answers, csv]) {
  const connection = await (await DuckDBInstance.create(":memory:")).connect();
  await connection.run("set threads = 1");
  for (const table of Object.keys(columns)) await load(connection, folder, table);
  let same = true;
  let logarithms = 0;
  const lines = ["query,colx_ms,duckdb_ms,ratio,same_rows"];
  const queries = JSON.parse(fs.readFileSync(answers, "utf8"));
  console.log("query       colx      DuckDB   times as long");
  for (const query of queries) {
    const duckdb = await measure(connection, query);
    const ratio = duckdb.milliseconds / query.milliseconds;
    same = same && duckdb.same;
    logarithms += Math.log(ratio);
    lines.push(
      [query.name, query.milliseconds, duckdb.milliseconds, ratio.toFixed(3), duckdb.same].join(",")
    );
    console.log(
      `${query.name}  ${query.milliseconds.toFixed(2).padStart(8)} ms ` +
        `${duckdb.milliseconds.toFixed(2).padStart(8)} ms ${ratio.toFixed(1).padStart(8)}   ` +
        (duckdb.same ? `${query.rows.length} same rows` : "OTHER ROWS")
    );
  }
  const mean = Math.exp(logarithms / queries.length);
  console.log(`geometric mean ${mean.toFixed(1)}`);
  lines.push(`geometric mean,,,${mean.toFixed(3)},${same}`);
  if (csv) fs.writeFileSync(csv, lines.join("\n") + "\n");
  return same ? 0 : 1;
}

main(process.argv.slice(2)).then(
  (status) => process.exit(status),
  (failure) => {
    console.error(`compare_duckdb: ${failure.message}`);
    process.exit(2);
  }
);

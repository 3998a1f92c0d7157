"""The table that the report begins with: every family at a glance."""

from dataclasses import dataclass

from measurements import Case, Measurements, compared, geometric_mean

SCAN = r"colx_(eq|lt|gt|le|ge|ne|gt_lt|gt_le|ge_lt|ge_le)_"


@dataclass(frozen=True)
class Family:
    name: str
    program: str
    kernels: str  # regular expression
    unit: str = "rows"


FAMILIES = (
    Family("Predicates on codes of 2 to 8 bits", "dict_scan_bench", SCAN + r"dict_[2-8]bit"),
    Family("Predicates on codes of 9 to 16 bits", "dict_scan_bench",
           SCAN + r"dict_(9|1[0-6])bit"),
    Family("Predicates on codes of 17 to 32 bits", "dict_scan_bench",
           SCAN + r"dict_(1[7-9]|20|24|32)bit"),
    Family("Predicates on codes of 64 bits", "dict_scan_bench", SCAN + r"dict_64bit"),
    Family("Predicates on fixed values of 1 to 8 bytes", "fixed_scan_bench",
           SCAN + r"fixed_\d+bit( \d+)?"),
    Family("Predicates on values of varying length", "dynp_scan_bench", SCAN + r"dynp_\d+bit"),
    Family("Unpacking codes of up to 16 bits", "decode_bench",
           r"colx_decode_unpack_dict_([1-9]|1[0-6])bit to [12]"),
    Family("Unpacking codes of 17 to 32 bits", "decode_bench",
           r"colx_decode_unpack_dict_(1[7-9]|20|24|32)bit to 4"),
    Family("Unpacking half of the rows", "decode_bench", r"colx_decode_unpack_.*, 50%"),
    Family("Set membership", "decode_bench", r"colx_set_dict_\d+bit"),
    Family("Run-length expansion", "decode_bench", r"colx_rle.*"),
    Family("Run hits to row bits", "decode_bench", r"colx_burst.*"),
    Family("Text decompression (against one symbol at a time)", "wpak_bench",
           r"wpak \d+bit .* by words", "bytes"),
    Family("Prefix-compressed text", "prefix_bench", r".*"),
    Family("Bit vectors: AND with count", "bit_vectors_bench", r"colx_lbiwvand.*", "bits"),
    Family("Bit vectors: rows of set bits", "bit_vectors_bench", r"colx_lbiwvones.*", "bits"),
    Family("Join build (against std::unordered_multimap)", "join_bench",
           r"colx_ht_build_.*"),
    Family("Join probe (against std::unordered_multimap)", "join_bench",
           r"colx_ht_probe_.* \d+% hit"),
    Family("Bloom filter tests", "bloom_bench", r"colx_bloom_hash(32|64) .*"),
    Family("Partitioning", "partition_bench", r"colx_partition_.*", "records"),
    Family("Gathering values by row number", "gather_bench", r"colx_gather_.*"),
    Family("Translation of codes", "xlate_bench", r"colx_xlate_.*table, \d+%"),
    Family("Group keys", "groupkey_bench", r".*"),
    Family("Arithmetic on columns", "arithmetic_bench", r".*"),
    Family("Sums by group, number conversion", "sums_bench", r".*"),
    Family("Point in polygon", "pip_bench", r".*", "edges"),
)

HEAD = (
    "| Family | in L2: rows a second | bytes a second | times the plain loop | worst to best case |"
    " out of cache: bytes a second | of the bandwidth |\n"
    "|---|--:|--:|--:|--:|--:|--:|"
)


def scaled(per_ns: float) -> str:
    """A rate a nanosecond with three digits, in thousand millions or in millions."""
    if per_ns >= 1:
        return f"{per_ns:.3g} G" if per_ns < 100 else f"{per_ns:.0f} G"
    return f"{1000 * per_ns:.3g} M" if per_ns >= 0.01 else f"{1000 * per_ns:.2g} M"


def ratios(cases: list[Case]) -> tuple[str, str]:
    values = [case.times_scalar for case in cases if case.times_scalar]
    if not values:
        return "", ""
    return f"**{geometric_mean(values):.1f}**", f"{short(min(values))} to {short(max(values))}"


def short(ratio: float) -> str:
    return f"{ratio:.2f}" if ratio < 2 else f"{ratio:.1f}" if ratio < 100 else f"{ratio:.0f}"


def bandwidth_share(cases: list[Case]) -> str:
    values = [case.of_limit for case in cases if case.of_limit]
    return f"{geometric_mean(values):.2f}" if values else ""


def line(family: Family, measurements: Measurements) -> str:
    cached = measurements.find(family.program, family.kernels, "L2")
    memory = measurements.find(family.program, family.kernels, "memory")
    if not cached:
        return ""
    rows = scaled(geometric_mean(case.rows_per_ns for case in cached))
    unit = "" if family.unit == "rows" else f" {family.unit}"
    moved = scaled(geometric_mean(case.bytes_per_ns for case in cached)) + "B"
    mean, span = ratios(cached)
    far = scaled(geometric_mean(case.bytes_per_ns for case in memory)) + "B" if memory else ""
    share = bandwidth_share(memory)
    return f"| {family.name} | {rows}{unit} | {moved} | {mean} | {span} | {far} | {share} |"


def highlights(measurements: Measurements) -> list[str]:
    """Sentences on single cases that say most, of those that ran."""
    find = lambda *place: compared(measurements.find(*place))
    scans = find("dict_scan_bench", r"colx_eq_dict_8bit", "L2")
    packed = find("dict_scan_bench", r"colx_eq_dict_5bit", "L2")
    unpacking = find("decode_bench", r"colx_decode_unpack_dict_5bit to 1", "L2")
    probes = find("join_bench", r"colx_ht_probe_k4v4_hash_values_payload 100% hit", "memory")
    queries = find("queries_bench", "13 queries", "SF 1")
    says = [
        *(f"compares {scaled(case.rows_per_ns)} codes of 8 bits a second" for case in scans),
        *(f"compares {scaled(case.rows_per_ns)} packed codes of 5 bits a second, {ratio(case)} a"
          " plain loop" for case in packed),
        *(f"unpacks {scaled(case.rows_per_ns)} of them a second, {ratio(case)} a plain loop"
          for case in unpacking),
        *(f"probes a table of 256 MB {ratio(case)} std::unordered_multimap" for case in probes),
        *(f"answers the demo's 13 queries on 6 million rows in {case.nanoseconds / 1e6:.0f} ms,"
          f" {ratio(case)} SQLite" for case in queries),
    ]
    return ["One core:", "", *(f"- {text}" for text in says), ""] if says else []


def ratio(case: Case) -> str:
    return f"{case.times_scalar:.1f} times as fast as"


def summary(measurements: Measurements) -> list[str]:
    lines = [text for family in FAMILIES if (text := line(family, measurements))]
    if not lines:
        return []
    return [
        "## At a glance",
        "",
        *highlights(measurements),
        "One thread. Means over a family's kernels and cases are geometric; bytes are those read"
        " and written. The plain loop is a careful scalar one for the same job under the same"
        " compiler and instruction set, not vectorized, run in turns with the kernel; the bandwidth"
        " line only reads and writes the same bytes by 16-byte instructions, or, for joins and"
        " filters, reads as many cache lines at random; kernels that prefetch may pass it.",
        "",
        HEAD,
        *lines,
        "",
    ]

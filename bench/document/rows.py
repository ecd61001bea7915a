"""The configuration document, its values and the log."""

from rows import Growth, Programs, Ratio, Row

ROWS = (
    # Loaded and let go; the pool's worker runs meanwhile, as in every host.
    Row(4, "load a document", Programs("bench_loading", rounds=21, seconds=0.01),
        (Ratio("mxmlLoadFile", 0.7),)),
    # All children match, or one. Mini-XML's bare walk, which takes each child and the first character of its name,
    # shows how much of a lookup of one cannot be saved. What 100,000 children cost beyond their number is cache misses.
    Row(5, "children of a name", Programs("bench_lookup", rounds=11, seconds=0.02),
        (Ratio("std::set", 0.35, "10 all"), Ratio("std::set", 0.2, "1000+ all"),
         Ratio("std::set", 0.35, "10 one", reach=0.5), Ratio("std::set", 0.2, "1000+ one", reach=1),
         Ratio("tinyxml2", 1.3, "1000 (all|one)"),
         Growth("growth of a bare walk", 1.5, tuple((f"1000 {which}", 1000, f"100000 {which}", 100000)
                                                    for which in ("all", "one")), beside="bare walk"))),
    # Everything is in memory, so that the processor's time is all there is. libxml2, pugixml and tinyxml2 write
    # straight to the file: a crash may leave half of it.
    Row(6, "safe save", Programs("bench_saving", rounds=15, seconds=0.02),
        (Ratio("bare calls", 1.25), Ratio("libxml2", 1, "30 kB"), Ratio("tinyxml2", 1, "30 kB"),
         Ratio("by character", 0.3, "layout .*"),
         Growth("growth to 10 MB", 1.5, (("layout 100 kB", 1, "layout 10 MB", 100),)))),
    Row(7, "validation", Programs("bench_validation", rounds=61, seconds=0.005, short_rounds=15, short_seconds=0.005),
        (Ratio("bare calls", 1.05),)),
    # Others' messages that are not written stand beside it without a goal: none of them asks a platform or a clock.
    Row(8, "suppressed protocol message", Programs("bench_suppressed", rounds=41, seconds=0.005),
        (Ratio("bare calls", 1.25),)),
)

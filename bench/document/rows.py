"""The configuration document, its values and the log."""

from rows import Programs, Ratio, Row

ROWS = (
    Row(7, "validation", Programs("bench_validation", rounds=21),
        (Ratio("bare calls", 1.05),)),
)

-- Made behind the rows: in a library of 100,000 inputs each row would otherwise touch another page.
CREATE INDEX IF NOT EXISTS summaries_by_p95 ON summaries (indicator, p95);
CREATE INDEX IF NOT EXISTS events_by_kind ON events (kind);
CREATE INDEX IF NOT EXISTS broken_rules_by_kind ON broken_rules (kind);

-- library.sqlite: all results of a folder. docs/formats.md says what the columns are.
CREATE TABLE inputs (
  id INTEGER PRIMARY KEY,
  name TEXT NOT NULL UNIQUE,
  path TEXT NOT NULL,
  absolute_path TEXT,
  part INTEGER,
  state TEXT NOT NULL CHECK (state IN ('measured', 'failed', 'incomplete', 'missing')),
  verdict TEXT NOT NULL CHECK (verdict IN ('pass', 'warn', 'fail', 'unmeasured')),
  exit_status INTEGER NOT NULL,
  reason TEXT,
  interrupted INTEGER NOT NULL DEFAULT 0,
  frames INTEGER NOT NULL DEFAULT 0,
  duration REAL NOT NULL DEFAULT 0,
  measured_at REAL,
  rules INTEGER NOT NULL DEFAULT 0,
  bytes INTEGER,
  modified REAL,
  ends_sha256 TEXT,
  format TEXT,
  codec TEXT,
  width INTEGER,
  height INTEGER,
  pixel_format TEXT,
  bit_depth INTEGER,
  color_range TEXT,
  rate REAL,
  stream_start REAL,
  tool_version TEXT,
  profile TEXT,
  settings TEXT,
  has_frames INTEGER NOT NULL DEFAULT 0,
  result_bytes INTEGER,
  result_modified INTEGER,
  result_inode INTEGER,
  csv_bytes INTEGER
);
CREATE TABLE summaries (
  input_id INTEGER NOT NULL REFERENCES inputs ON DELETE CASCADE,
  indicator TEXT NOT NULL,
  count INTEGER NOT NULL,
  nan INTEGER NOT NULL,
  mean REAL,
  min REAL,
  p5 REAL,
  median REAL,
  p95 REAL,
  max REAL,
  worst_frame INTEGER,
  worst_time REAL,
  PRIMARY KEY (input_id, indicator)
) WITHOUT ROWID;
CREATE TABLE events (
  input_id INTEGER NOT NULL REFERENCES inputs ON DELETE CASCADE,
  number INTEGER NOT NULL,
  kind TEXT NOT NULL,
  severity TEXT NOT NULL,
  start_time REAL,
  end_time REAL,
  start_frame INTEGER NOT NULL,
  end_frame INTEGER NOT NULL,
  frames INTEGER NOT NULL,
  worst REAL,
  PRIMARY KEY (input_id, number)
) WITHOUT ROWID;
CREATE TABLE broken_rules (
  input_id INTEGER NOT NULL REFERENCES inputs ON DELETE CASCADE,
  number INTEGER NOT NULL,
  kind TEXT NOT NULL,
  severity TEXT NOT NULL,
  reason TEXT NOT NULL,
  PRIMARY KEY (input_id, number)
) WITHOUT ROWID;
CREATE TABLE not_judged (
  input_id INTEGER NOT NULL REFERENCES inputs ON DELETE CASCADE,
  number INTEGER NOT NULL,
  kind TEXT NOT NULL,
  reason TEXT NOT NULL,
  PRIMARY KEY (input_id, number)
) WITHOUT ROWID;
CREATE TABLE decode_errors (
  input_id INTEGER NOT NULL REFERENCES inputs ON DELETE CASCADE,
  number INTEGER NOT NULL,
  kind TEXT NOT NULL,
  frame INTEGER NOT NULL,
  time REAL,
  end_time REAL,
  missing INTEGER NOT NULL,
  message TEXT NOT NULL,
  PRIMARY KEY (input_id, number)
) WITHOUT ROWID;

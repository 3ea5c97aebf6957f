-- PostgreSQL: what SQLite does by triggers and hooks of its connection. The setting "kestora.run" is
-- there in the sessions of a run only; what others remove is none of the run's.

-- Rows that were counted in this transaction, such as 'added_event'.
CREATE FUNCTION run_counted(what TEXT) RETURNS BIGINT LANGUAGE sql AS $$
    SELECT coalesce(nullif(current_setting('kestora.' || what, true), ''), '0')::BIGINT;
$$;

CREATE FUNCTION count_for_run(what TEXT, rows BIGINT) RETURNS TEXT LANGUAGE sql AS $$
    SELECT set_config('kestora.' || what, (run_counted(what) + rows)::TEXT, true);
$$;

-- For every row of a run. Other sessions' rows are passed over here: the condition of a trigger would
-- be read anew for each statement, which takes longer than this function, and so would count_for_run.
CREATE FUNCTION note_added() RETURNS trigger LANGUAGE plpgsql AS $$
DECLARE
    what TEXT := 'kestora.added_' || TG_TABLE_NAME;
BEGIN
    IF current_setting('kestora.run', true) <> '' THEN
        PERFORM set_config(
            what, (coalesce(nullif(current_setting(what, true), ''), '0')::BIGINT + 1)::TEXT, true);
        IF TG_TABLE_NAME = 'event' THEN
            INSERT INTO unannounced (id, camera_id) VALUES (NEW.id, NEW.camera_id);
        END IF;
    END IF;
    RETURN NULL;
END
$$;

-- Every column that the table has: one that the ledger lacks makes the removal fail.
CREATE FUNCTION keep_removed() RETURNS trigger LANGUAGE plpgsql AS $$
DECLARE
    columns TEXT := (SELECT string_agg(quote_ident(attname), ', ') FROM pg_attribute
                     WHERE attrelid = TG_RELID AND attnum > 0 AND NOT attisdropped
                       AND attname <> 'id');
    kept    BIGINT;
BEGIN
    EXECUTE format('INSERT INTO removed (run, removed_tm, kind, row_id, %1$s) '
                   'SELECT current_setting(''kestora.run'')::BIGINT, '
                   'extract(epoch FROM now())::BIGINT, %2$L, id, %1$s FROM gone ORDER BY id',
                   columns, TG_TABLE_NAME);
    GET DIAGNOSTICS kept = ROW_COUNT;
    PERFORM count_for_run('removed_' || TG_TABLE_NAME, kept);
    IF TG_TABLE_NAME = 'event' THEN
        INSERT INTO run_day (run, camera_id, day, added, removed)
        SELECT current_setting('kestora.run')::BIGINT, camera_id,
               (start_tm - ((start_tm % 86400) + 86400) % 86400) / 86400, 0, count(*)
        FROM gone GROUP BY 2, 3
        ON CONFLICT (run, camera_id, day) DO UPDATE SET removed = run_day.removed + excluded.removed;
    END IF;
    RETURN NULL;
END
$$;

CREATE TRIGGER note_added AFTER INSERT ON event FOR EACH ROW EXECUTE FUNCTION note_added();
CREATE TRIGGER note_added AFTER INSERT ON alert_event FOR EACH ROW EXECUTE FUNCTION note_added();
CREATE TRIGGER note_added AFTER INSERT ON snapshot FOR EACH ROW EXECUTE FUNCTION note_added();
CREATE TRIGGER note_added AFTER INSERT ON emap FOR EACH ROW EXECUTE FUNCTION note_added();

CREATE TRIGGER keep_removed AFTER DELETE ON event REFERENCING OLD TABLE AS gone
    WHEN (current_setting('kestora.run', true) <> '') EXECUTE FUNCTION keep_removed();
CREATE TRIGGER keep_removed AFTER DELETE ON alert_event REFERENCING OLD TABLE AS gone
    WHEN (current_setting('kestora.run', true) <> '') EXECUTE FUNCTION keep_removed();
CREATE TRIGGER keep_removed AFTER DELETE ON snapshot REFERENCING OLD TABLE AS gone
    WHEN (current_setting('kestora.run', true) <> '') EXECUTE FUNCTION keep_removed();
CREATE TRIGGER keep_removed AFTER DELETE ON emap REFERENCING OLD TABLE AS gone
    WHEN (current_setting('kestora.run', true) <> '') EXECUTE FUNCTION keep_removed();

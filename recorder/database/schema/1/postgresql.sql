-- PostgreSQL: what temporary triggers do on SQLite. Only sessions of a run have the settings
-- "kestora.run" and "kestora.token", so changes by other sessions are not attributed to the run.

-- True if this transaction added rows to a table.
CREATE FUNCTION has_added(kind TEXT) RETURNS BOOLEAN LANGUAGE sql AS $$
    SELECT coalesce(current_setting('kestora.first_' || kind, true), '') <> '';
$$;

-- The number of rows that this transaction added to a table, by camera: {"7": 12}. Tables without
-- cameras are counted under camera 0. Recordings are counted by the rows that the transaction noted as
-- unannounced: counting each of them when it is added would take 7 % longer.
CREATE FUNCTION added_by_camera(kind TEXT) RETURNS JSONB LANGUAGE sql AS $$
    SELECT CASE
        WHEN NOT has_added(kind) THEN '{}'
        WHEN kind = 'event' THEN (
            SELECT jsonb_object_agg(camera_id, added)
            FROM (SELECT camera_id, count(*) AS added FROM unannounced
                  WHERE xmin = pg_current_xact_id_if_assigned()::xid GROUP BY camera_id) AS noted)
        ELSE current_setting('kestora.added_' || kind)::JSONB END;
$$;

-- The number of rows that this transaction removed from a table.
CREATE FUNCTION removed_rows(kind TEXT) RETURNS BIGINT LANGUAGE sql AS $$
    SELECT coalesce(nullif(current_setting('kestora.removed_' || kind, true), ''), '0')::BIGINT;
$$;

-- The ids of the rows that this transaction added, as rows of added. The ids are read when it ends:
-- noting each of them when it is added would take a tenth longer.
CREATE FUNCTION added_ranges() RETURNS SETOF added LANGUAGE plpgsql AS $$
DECLARE
    kind     TEXT;
    first_id BIGINT;
BEGIN
    FOREACH kind IN ARRAY ARRAY['event', 'alert_event', 'snapshot', 'emap'] LOOP
        IF has_added(kind) THEN
            first_id := current_setting('kestora.first_' || kind)::BIGINT;
            RETURN QUERY EXECUTE format(
                'SELECT current_setting(''kestora.run'')::BIGINT, %1$L::TEXT, min(id), max(id) '
                'FROM (SELECT id, id - row_number() OVER (ORDER BY id) AS gaps FROM %1$I '
                'WHERE id >= $1 AND xmin = pg_current_xact_id_if_assigned()::xid) AS ids '
                'GROUP BY gaps', kind) USING first_id;
        END IF;
    END LOOP;
END
$$;

-- Runs for every row that is added. Rows of other sessions are passed over here: a trigger's condition
-- would be parsed again for each statement, which takes longer than this function. The counts are kept
-- in a setting of the transaction: a row of run_count that is updated for each added row would become
-- slower with each update.
CREATE FUNCTION note_added() RETURNS trigger LANGUAGE plpgsql AS $$
DECLARE
    setting TEXT;
    camera  TEXT := '0';
    added   JSONB;
BEGIN
    IF current_setting('kestora.run', true) <> '' THEN
        IF NOT has_added(TG_TABLE_NAME) THEN
            PERFORM set_config('kestora.first_' || TG_TABLE_NAME, NEW.id::TEXT, true);
        END IF;
        IF TG_TABLE_NAME = 'event' THEN
            INSERT INTO unannounced (id, camera_id) VALUES (NEW.id, NEW.camera_id);
            RETURN NULL;
        END IF;
        IF TG_TABLE_NAME = 'alert_event' THEN
            camera := NEW.camera_id;
        END IF;
        setting := 'kestora.added_' || TG_TABLE_NAME;
        added := coalesce(nullif(current_setting(setting, true), ''), '{}')::JSONB;
        added := added || jsonb_build_object(camera, coalesce((added->>camera)::BIGINT, 0) + 1);
        PERFORM set_config(setting, added::TEXT, true);
    END IF;
    RETURN NULL;
END
$$;

-- Keeps every column of the table: if the ledger lacks one, the removal fails.
CREATE FUNCTION keep_removed() RETURNS trigger LANGUAGE plpgsql AS $$
DECLARE
    columns TEXT := (SELECT string_agg(quote_ident(attname), ', ') FROM pg_attribute
                     WHERE attrelid = TG_RELID AND attnum > 0 AND NOT attisdropped
                       AND attname <> 'id');
    camera  TEXT := CASE WHEN TG_TABLE_NAME IN ('event', 'alert_event') THEN 'camera_id' ELSE '0' END;
    kept    BIGINT;
BEGIN
    EXECUTE format('INSERT INTO removed (run, removed_tm, kind, row_id, %1$s) '
                   'SELECT current_setting(''kestora.run'')::BIGINT, '
                   'extract(epoch FROM now())::BIGINT, %2$L, id, %1$s FROM gone ORDER BY id',
                   columns, TG_TABLE_NAME);
    GET DIAGNOSTICS kept = ROW_COUNT;
    PERFORM set_config('kestora.removed_' || TG_TABLE_NAME,
                       (removed_rows(TG_TABLE_NAME) + kept)::TEXT, true);
    EXECUTE format('INSERT INTO run_count (run, token, kind, camera_id, added, removed) '
                   'SELECT current_setting(''kestora.run'')::BIGINT, '
                   'current_setting(''kestora.token'')::BIGINT, %1$L, %2$s, 0, count(*) '
                   'FROM gone GROUP BY 4 ON CONFLICT (run, token, kind, camera_id) '
                   'DO UPDATE SET removed = run_count.removed + excluded.removed',
                   TG_TABLE_NAME, camera);
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

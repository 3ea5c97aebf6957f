-- PostgreSQL: what a run removes is counted by days, too.

-- Every column that the table has: one that the ledger lacks makes the removal fail.
CREATE OR REPLACE FUNCTION keep_removed() RETURNS trigger LANGUAGE plpgsql AS $$
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

SELECT * FROM T WHERE origin = 'SEA' AND destination IN ('LAX', 'SFO', 'SAN') AND delay >= 30;
SELECT * FROM T WHERE origin_state = 'CA' AND destination_state IN ('NY', 'NJ', 'MA') AND month BETWEEN 3 AND 5;
SELECT origin, count(*), avg(delay) FROM T WHERE hour >= 22 AND origin_state = 'TX' GROUP BY origin;
SELECT * FROM T WHERE date = '2001-02-14' AND hour < 6;
SELECT count(*), avg(distance) FROM T WHERE month IN (1, 6) AND destination = 'ORD';
SELECT * FROM T WHERE origin_state IS NULL;
SELECT count(*) FROM T WHERE origin = 'XYZ';
SELECT count(*) FROM T WHERE origin_state <> 'TX';
SELECT max(delay) FROM T WHERE distance > 2000;

-- Loads the flights and airports of this folder into an empty database, from the repository's root: a view that adds
-- months, hours and states, and a table of its rows.
CREATE TABLE flights(date TEXT, time TEXT, delay INTEGER, distance INTEGER, origin TEXT, destination TEXT);
CREATE TABLE airports(iata TEXT PRIMARY KEY, name TEXT, city TEXT, state TEXT, country TEXT, latitude REAL, longitude REAL);
.mode csv
.import --skip 1 "|xz -dc host/data/flights.csv.xz" flights
.import --skip 1 "|xz -dc host/data/airports.csv.xz" airports
CREATE VIEW flights_by_state AS
SELECT f.*, CAST(substr(f.date, 6, 2) AS INTEGER) AS month, CAST(substr(f.time, 1, 2) AS INTEGER) AS hour,
       nullif(o.state, 'NA') AS origin_state, nullif(d.state, 'NA') AS destination_state
FROM flights f LEFT JOIN airports o ON o.iata = f.origin LEFT JOIN airports d ON d.iata = f.destination;
CREATE TABLE plain AS SELECT * FROM flights_by_state;

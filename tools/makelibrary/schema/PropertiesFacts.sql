-- Tables and indexes of Properties.apdb for facts that not every library has.
CREATE TABLE RKPlace (modelId integer primary key, uuid varchar, type integer, defaultName varchar);
CREATE INDEX RKPlace_uuid_index on RKPlace(uuid);

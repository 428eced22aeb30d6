<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="eo">
<context>
    <name>WindowText</name>
    <message>
        <source>Photos</source>
        <translation>Fotoj</translation>
    </message>
    <message>
        <source>Ready</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>UserText</name>
    <message>
        <source>There is no such folder.</source>
        <translation>Tia dosierujo ne ekzistas.</translation>
    </message>
</context>
</TS>

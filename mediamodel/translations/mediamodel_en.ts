<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US">
<context>
    <name></name>
    <message id="mediamgr_forward_messages">
        <source>Forward %1 messages</source>
        <extracomment>What a forward of several selected media sends; %1 is their number.</extracomment>
        <translation>Forward %1 messages</translation>
    </message>
    <message id="mediamgr_forward_photo">
        <source>[Photo]</source>
        <translation>[Photo]</translation>
    </message>
    <message id="mediamgr_forward_video">
        <source>[Video]</source>
        <translation>[Video]</translation>
    </message>
    <message id="mediamgr_forward_audio">
        <source>[Voice message]</source>
        <translation>[Voice message]</translation>
    </message>
    <message id="mediamgr_forward_music">
        <source>[Music]</source>
        <translation>[Music]</translation>
    </message>
    <message id="mediamgr_forward_file">
        <source>[File]</source>
        <translation>[File]</translation>
    </message>
</context>
</TS>

%BOARD%, %SYSTEM%, %LOCALDATE%

New mail since the last report:

%areas.%

Those who wrote most:

%senders.%

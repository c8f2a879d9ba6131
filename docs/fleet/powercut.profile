# A region whose power was back between 22:30 and 22:35.
begin 22:00
started 30m 35m

/*
 * list_oid.h - where the list of ports stands in the tree of object identifiers, for both ends.
 *
 * Below "experimental", in a number that nobody was given. An instance is LIST_OID.1.COLUMN.INDEX.
 */
#ifndef BENCH_PEERS_LIST_OID_H_
#define BENCH_PEERS_LIST_OID_H_

#define LIST_OID 1, 3, 6, 1, 3, 99999, 1

enum { kColumnIndex = 1, kColumnSpeed, kColumnEnabled, kColumnAlias };

#endif /* BENCH_PEERS_LIST_OID_H_ */

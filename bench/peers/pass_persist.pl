#!/usr/bin/perl
# What an operator may use instead of the module: a pass_persist script, here in Perl. It serves the radio group,
# the router's serial number and the leases table from the same API below an OID of its own, with a cache that
# lives as long as the module's.
#
# usage: pass_persist.pl API-SOCKET BASE-OID LIFETIME
use strict;
use warnings;

use IO::Socket::UNIX;
use JSON::PP;
use Time::HiRes qw(clock_gettime CLOCK_MONOTONIC);

my ($api_socket, $base, $lifetime) = @ARGV;
die "usage: $0 API-SOCKET BASE-OID LIFETIME\n" unless defined $lifetime;

my $json = JSON::PP->new;

sub radio {
    my ($result) = @_;
    my $stats = $result->{stats_radio} || {};
    my @members = qw(type imei imsi firmware rssidBm network service carrier msid mdn);
    $members[1] = 'meid' if ($stats->{type} || '') eq 'CDMA';
    my @texts = map { defined $stats->{$_} ? $stats->{$_} : '' } @members;
    $texts[4] .= 'dBm' if length $texts[4];
    @texts = ('Unknown') x @texts unless $result->{system_capabilities}{cell};
    return map { ["3." . ($_ + 1) . ".0", 'string', $texts[$_]] } 0 .. $#texts;
}

sub router {
    my ($result) = @_;
    return ['8.2.0', 'string', $result->{system}{deviceId} || ''];
}

sub leases {
    my ($result) = @_;
    my $leases = $result->{dhcp}{leases} || [];
    my @columns = (
        ['integer',   sub { $_[1] }],
        ['string',    sub { $_[0]{ip} || '' }],
        ['string',    sub { $_[0]{mac} || '' }],
        ['timeticks', sub { ($_[0]{expiration} || 0) * 100 % 2**32 }],
    );
    my @cells;
    for my $column (0 .. $#columns) {
        my ($type, $value) = @{$columns[$column]};
        for my $row (0 .. $#$leases) {
            push @cells, ['11.1.2.1.' . ($column + 1) . '.' . ($row + 1), $type, $value->($leases->[$row], $row)];
        }
    }
    return @cells;
}

# The parts of the tree, in the order of their OIDs; each part's cells are made in that order too.
my @parts = (
    {arc => 3,  target => '/api?fields=system/capabilities,stats/radio', read => \&radio},
    {arc => 8,  target => '/api?fields=system',                          read => \&router},
    {arc => 11, target => '/api?fields=dhcp',                            read => \&leases},
);

sub fetch {
    my ($target) = @_;
    my $socket = IO::Socket::UNIX->new(Peer => $api_socket) or return;
    print {$socket} "GET $target HTTP/1.0\r\nHost: localhost\r\n\r\n";
    my $answer = do { local $/ = undef; <$socket> };
    my (undef, $body) = split /\r\n\r\n/, $answer, 2;
    my $envelope = eval { $json->decode($body) } or return;
    return $envelope->{code} == 200 ? $envelope->{result} : undef;
}

# Each OID as packed numbers, which sort as the OIDs do.
sub packed {
    my ($oid) = @_;
    return pack 'N*', split /\./, $oid;
}

sub refresh {
    my ($part) = @_;
    my $now = clock_gettime(CLOCK_MONOTONIC);
    return if $now < ($part->{expires} || 0);
    @$part{qw(oids answers places)} = ([], [], {});
    my $result = fetch($part->{target});
    return unless defined $result;
    for my $cell ($part->{read}->($result)) {
        my ($arcs, $type, $value) = @$cell;
        push @{$part->{oids}},    packed("$base.$arcs");
        push @{$part->{answers}}, ".$base.$arcs\n$type\n$value\n";
        $part->{places}{"$base.$arcs"} = $#{$part->{answers}};
    }
    $part->{expires} = $now + $lifetime;
}

sub get {
    my ($oid) = @_;
    for my $part (@parts) {
        next unless index($oid, "$base.$part->{arc}.") == 0;
        refresh($part);
        my $place = $part->{places}{$oid};
        return $part->{answers}[$place] if defined $place;
    }
    return "NONE\n";
}

# The place of the first OID after the given one.
sub place_behind {
    my ($oids, $oid) = @_;
    my ($low, $high) = (0, scalar @$oids);
    while ($low < $high) {
        my $middle = ($low + $high) >> 1;
        if ($oids->[$middle] le $oid) { $low = $middle + 1 } else { $high = $middle }
    }
    return $low;
}

sub get_next {
    my ($text) = @_;
    my $oid = packed($text);
    for my $part (@parts) {
        # A part that lies before the OID as a whole need not be fetched.
        next if substr($oid, 0, length packed("$base.$part->{arc}")) gt packed("$base.$part->{arc}");
        refresh($part);
        my $place = place_behind($part->{oids}, $oid);
        return $part->{answers}[$place] if $place < @{$part->{answers}};
    }
    return "NONE\n";
}

sub read_oid {
    my $line = <STDIN>;
    $line =~ s/^\.|\s+$//g;
    return $line;
}

$base =~ s/^\.//;
$| = 1;
while (defined(my $command = <STDIN>)) {
    chomp $command;
    if    ($command eq 'get')     { print get(read_oid()) }
    elsif ($command eq 'getnext') { print get_next(read_oid()) }
    elsif ($command eq 'PING')    { print "PONG\n" }
    elsif ($command eq 'set')     { <STDIN>; <STDIN>; print "not-writable\n" }
}

// Prints, as JSON, what the MIB parser of the npm package net-snmp makes of a MIB module.
// usage: node parse.js NODE_MODULES FILE MODULE
"use strict";

const path = require("path");

const [nodeModules, file, name] = process.argv.slice(2);
const store = require(path.join(nodeModules, "net-snmp")).createModuleStore();
store.loadFromFile(file);
process.stdout.write(JSON.stringify(store.getModule(name)));
